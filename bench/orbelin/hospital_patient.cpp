#include "hospital_patient.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>
#include <vector>

#include <boost/json.hpp>

#include "measure.h"
#include "raw_sqlite.h"

namespace orbelin::bench {

namespace json = boost::json;

namespace {

std::string stamp(int day, int minute) {
  char text[32];
  std::snprintf(text, sizeof text, "2015-%02d-%02d %02d:%02d:00", 4 + (day / 28) % 8, 1 + day % 28,
                (minute / 60) % 24, minute % 60);
  return text;
}

json::array datedValues(const char* stem, int count) {
  json::array list;
  for (int i = 0; i < count; ++i)
    list.push_back(json::object{{"entityName", "DatedValue"},
                                {"date", stamp(i, 600 + i)},
                                {"value", std::string(stem) + " " + std::to_string(i)}});
  return list;
}

json::object staff(int i) {
  return {{"entityName", "StaffMember"},
          {"staffId", "s" + std::to_string(i)},
          {"firstName", "First" + std::to_string(i)},
          {"lastName", "Last"},
          {"role", "Nurse"},
          {"phoneNumber", "555-0100"},
          {"email", "staff@example.org"}};
}

json::array vitals(int count, int& objects) {
  json::array list;
  for (int i = 0; i < count; ++i, objects += 2) {
    json::object note{{"entityName", "Note"},
                      {"created", stamp(i, i)},
                      {"lastModified", stamp(i, i + 1)},
                      {"number", 36.5 + (i % 30) / 10.0},
                      {"text", "measured after the walk"}};
    list.push_back(json::object{{"entityName", "Vital"},
                                {"type", "Pain"},
                                {"comments", "steady"},
                                {"measurement", std::move(note)}});
  }
  return list;
}

json::object recoveryPath(int& objects) {
  json::object path{{"entityName", "RecoveryPath"}, {"admissionDate", stamp(0, 480)}};
  ++objects;
  json::array appointments, instructions, tests, team, booklets;
  for (int i = 0; i < 300; ++i, ++objects)
    appointments.push_back(json::object{{"entityName", "Appoitment"},
                                        {"shortDesc", "Visit " + std::to_string(i)},
                                        {"dateTime", stamp(i, 540)},
                                        {"status", "Scheduled"},
                                        {"location", "Clinic B"}});
  for (int i = 0; i < 500; ++i, ++objects) {
    json::array actions;
    for (int j = 0; j < 3; ++j, ++objects)
      actions.push_back(json::object{{"entityName", "InstructionAction"},
                                     {"type", "Complete"},
                                     {"timeStamp", stamp(i, 600 + j)},
                                     {"comments", "done"}});
    instructions.push_back(json::object{{"entityName", "Instruction"},
                                        {"shortDesc", "Walk twice a day"},
                                        {"status", "Issued"},
                                        {"frequencyUnit", 2},
                                        {"needsReminder", true},
                                        {"createdAt", stamp(i, 420)},
                                        {"actions", std::move(actions)}});
  }
  for (int i = 0; i < 100; ++i, ++objects) {
    json::array results;
    for (int j = 0; j < 5; ++j, ++objects)
      results.push_back(json::object{{"entityName", "TestResult"},
                                     {"abnormal", j == 4},
                                     {"analysis", "within range"},
                                     {"timeStamp", stamp(i, j)}});
    tests.push_back(json::object{{"entityName", "MedicalTest"},
                                 {"testId", "t" + std::to_string(i)},
                                 {"shortDesc", "Blood count"},
                                 {"dateTime", stamp(i, 300)},
                                 {"normalMax", 11.5},
                                 {"normalMin", 4.5},
                                 {"results", std::move(results)}});
  }
  for (int i = 0; i < 50; ++i, ++objects) team.push_back(staff(i));
  for (int i = 0; i < 50; ++i, ++objects) {
    json::array sections;
    for (int j = 0; j < 8; ++j, ++objects)
      sections.push_back(json::object{{"entityName", "BookletSection"},
                                      {"category", "Diet"},
                                      {"title", "Section " + std::to_string(j)},
                                      {"body", std::string(400, 'x')}});
    booklets.push_back(json::object{{"entityName", "InformationBooklet"},
                                    {"bookletId", "b" + std::to_string(i)},
                                    {"title", "Going home"},
                                    {"created", stamp(0, 0)},
                                    {"sections", std::move(sections)}});
  }
  path["appoitments"] = std::move(appointments);
  path["instructions"] = std::move(instructions);
  path["medicalTests"] = std::move(tests);
  path["careTeam"] = std::move(team);
  path["informationBooklets"] = std::move(booklets);
  return path;
}

}  // namespace

PatientText hospitalPatient() {
  int objects = 1;
  json::object patient{{"entityName", "Patient"},   {"patientId", "p1"},
                       {"firstName", "Ada"},        {"lastName", "Lovelace"},
                       {"gender", "Female"},        {"birthDate", "1960-12-18 00:00:00"},
                       {"physicianName", "Dr. Who"}};
  for (const char* list : {"allergies", "barriers", "diagnoses", "diets", "symptoms"}) {
    patient[list] = datedValues(list, 100);
    objects += 100;
  }
  patient["vitals"] = vitals(250, objects);
  patient["recoveryPath"] = recoveryPath(objects);
  return {json::serialize(patient), objects};
}

double importPatientText(ObjectStore& store, const std::string& text, model2::Patient2** imported) {
  auto context = store.backgroundQueueContext();
  model2::Patient2* patient = nullptr;
  bool saved = false;
  double seconds = secondsOf([&] {
    context->performAndWait([&] {
      patient = dynamic_cast<model2::Patient2*>(store.createObject("Patient"));
      if (patient) patient->setPropertiesFromJSONString(text);
    });
    saved = store.saveChanges();
  });
  if (!patient || !saved) {
    std::fprintf(stderr, "patient import failed: %s\n", QuietConsole::first().c_str());
    std::abort();
  }
  if (imported) *imported = patient;
  return seconds;
}

// ---- the hand-written walk ----

namespace {

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const {
    return std::hash<std::string_view>{}(text);
  }
};
template <typename T>
using ByName = std::unordered_map<std::string, T, TextHash, std::equal_to<>>;

bool usesJoinTable(const graph::RelationshipDescription& r) {
  return r.toMany && !(r.inverse && !r.inverse->toMany);
}

// "yyyy-MM-dd HH:mm:ss" as seconds since 1970, UTC; NaN when it is not one.
double parseStamp(std::string_view text) {
  auto number = [&](std::size_t at, std::size_t length) {
    int value = -1;
    if (at + length <= text.size())
      std::from_chars(text.data() + at, text.data() + at + length, value);
    return value;
  };
  if (text.size() != 19) return std::numeric_limits<double>::quiet_NaN();
  int y = number(0, 4), m = number(5, 2), d = number(8, 2);
  int hh = number(11, 2), mm = number(14, 2), ss = number(17, 2);
  if (y < 0 || m < 1 || d < 1 || hh < 0 || mm < 0 || ss < 0)
    return std::numeric_limits<double>::quiet_NaN();
  // Days from the civil date (Howard Hinnant's algorithm).
  y -= m <= 2;
  const int era = (y >= 0 ? y : y - 399) / 400;
  const int yoe = y - era * 400;
  const int doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  const long days = static_cast<long>(era) * 146097 + doe - 719468;
  return static_cast<double>(days * 86400 + hh * 3600 + mm * 60 + ss);
}

}  // namespace

struct SchemaWalk::Impl {
  struct Slot {
    const graph::AttributeDescription* attribute = nullptr;
    const graph::RelationshipDescription* relationship = nullptr;
    int parameter = 0;  // of the attribute, or of a to-one's key column
  };
  struct Table {
    const graph::EntityDescription* entity = nullptr;
    std::unique_ptr<Statement> insert;
    ByName<Slot> slots;
    std::vector<int> keyParameter;    // by relationship index; 0 when it has no column
    std::vector<int> orderParameter;  // by relationship index; 0 when it has none
    std::vector<std::unique_ptr<Statement>> joins;  // by relationship index
    std::int64_t nextKey = 1;
  };

  sqlite3* db;
  ByName<Table> tables;
  std::size_t rows = 0;

  Impl(sqlite3* database, const graph::ManagedObjectModel& model) : db(database) {
    for (const auto& entity : model.entities()) {
      const std::string tableName = "\"Z" + entity->name() + "\"";
      Table& table = tables[entity->name()];
      table.entity = entity.get();
      std::string columns = "Z_PK, Z_OPT", values = "?1, 1";
      int parameter = 1;
      auto column = [&](const std::string& name) {
        columns += ", \"" + name + "\"";
        values += ", ?" + std::to_string(++parameter);
        return parameter;
      };
      for (const auto& a : entity->attributes())
        table.slots[a.name] = {&a, nullptr, column(a.name)};
      table.keyParameter.assign(entity->relationships().size(), 0);
      table.orderParameter.assign(entity->relationships().size(), 0);
      table.joins.resize(entity->relationships().size());
      for (const auto& r : entity->relationships()) {
        int key = 0;
        if (!r.toMany) {
          key = table.keyParameter[r.index] = column(r.name);
          if (r.inverse && r.inverse->ordered)
            table.orderParameter[r.index] = column("Z_ORD_" + r.name);
        }
        if (usesJoinTable(r))
          table.joins[r.index] =
              std::make_unique<Statement>(db, "INSERT INTO \"Z_" + entity->name() + "_" + r.name +
                                                  "\" (Z_OWNER, Z_TARGET, Z_ORD) VALUES (?, ?, ?)");
        table.slots[r.name] = {nullptr, &r, key};
      }
      table.insert = std::make_unique<Statement>(
          db, "INSERT INTO " + tableName + " (" + columns + ") VALUES (" + values + ")");
      Statement maxKey(db, "SELECT MAX(Z_PK) FROM " + tableName);
      if (sqlite3_step(maxKey.get()) == SQLITE_ROW)
        table.nextKey = sqlite3_column_int64(maxKey.get(), 0) + 1;
    }
  }

  Table* tableOf(const json::object& record) {
    const json::value* name = record.if_contains("entityName");
    if (!name || !name->is_string()) return nullptr;
    auto found = tables.find(std::string_view(name->get_string()));
    return found == tables.end() ? nullptr : &found->second;
  }

  static void bindAttribute(sqlite3_stmt* stmt, int parameter, graph::AttributeType type,
                            const json::value& value) {
    using graph::AttributeType;
    switch (type) {
      case AttributeType::String:
        if (value.is_string())
          sqlite3_bind_text(stmt, parameter, value.get_string().data(),
                            static_cast<int>(value.get_string().size()), SQLITE_STATIC);
        break;
      case AttributeType::Integer16:
      case AttributeType::Integer32:
      case AttributeType::Integer64:
        if (value.is_int64()) sqlite3_bind_int64(stmt, parameter, value.get_int64());
        if (value.is_bool()) sqlite3_bind_int64(stmt, parameter, value.get_bool());
        break;
      case AttributeType::Double:
        if (value.is_number()) sqlite3_bind_double(stmt, parameter, value.to_number<double>());
        break;
      case AttributeType::Boolean:
        if (value.is_bool()) sqlite3_bind_int(stmt, parameter, value.get_bool());
        if (value.is_int64()) sqlite3_bind_int(stmt, parameter, value.get_int64() != 0);
        break;
      case AttributeType::Date:
        if (value.is_string()) {
          double seconds = parseStamp(value.get_string());
          if (seconds == seconds) sqlite3_bind_double(stmt, parameter, seconds);
        }
        break;
      case AttributeType::Binary:
      case AttributeType::Transformable: {
        std::string text = json::serialize(value);
        sqlite3_bind_text(stmt, parameter, text.data(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT);
        break;
      }
    }
  }

  void join(Table& owner, const graph::RelationshipDescription& r, std::int64_t ownerKey,
            std::int64_t targetKey, std::int64_t order) {
    sqlite3_stmt* stmt = owner.joins[r.index]->get();
    sqlite3_bind_int64(stmt, 1, ownerKey);
    sqlite3_bind_int64(stmt, 2, targetKey);
    sqlite3_bind_int64(stmt, 3, order);
    owner.joins[r.index]->run();
    ++rows;
  }

  // Writes the record and everything nested in it; its key. `parent` is
  // the to-one of this record that points back at the record it is nested
  // in (null at the top or when the parent keeps a join row instead).
  std::int64_t insert(Table& table, const json::object& record,
                      const graph::RelationshipDescription* parent, std::int64_t parentKey,
                      std::int64_t order) {
    const std::int64_t key = table.nextKey++;
    // To-one records first: this row holds their keys.
    std::vector<std::pair<int, std::int64_t>> toOneKeys;
    for (const auto& [name, value] : record) {
      if (!value.is_object()) continue;
      auto slot = table.slots.find(std::string_view(name));
      if (slot == table.slots.end() || !slot->second.relationship) continue;
      const auto& r = *slot->second.relationship;
      Table* child = tableOf(value.get_object());
      if (r.toMany || !child) continue;
      const auto* back = r.inverse && !r.inverse->toMany ? r.inverse : nullptr;
      toOneKeys.emplace_back(slot->second.parameter,
                             insert(*child, value.get_object(), back, key, 0));
    }
    sqlite3_stmt* stmt = table.insert->get();
    sqlite3_clear_bindings(stmt);
    sqlite3_bind_int64(stmt, 1, key);
    for (const auto& [name, value] : record) {
      auto slot = table.slots.find(std::string_view(name));
      if (slot == table.slots.end() || !slot->second.attribute || value.is_null()) continue;
      bindAttribute(stmt, slot->second.parameter, slot->second.attribute->type, value);
    }
    for (const auto& [parameter, childKey] : toOneKeys)
      sqlite3_bind_int64(stmt, parameter, childKey);
    if (parent) {
      sqlite3_bind_int64(stmt, table.keyParameter[parent->index], parentKey);
      if (int orderParameter = table.orderParameter[parent->index])
        sqlite3_bind_int64(stmt, orderParameter, order);
    }
    table.insert->run();
    ++rows;
    // Then the to-many members, which point back at this row.
    for (const auto& [name, value] : record) {
      if (!value.is_array()) continue;
      auto slot = table.slots.find(std::string_view(name));
      if (slot == table.slots.end() || !slot->second.relationship) continue;
      const auto& r = *slot->second.relationship;
      if (!r.toMany) continue;
      std::int64_t position = 0;
      for (const auto& element : value.get_array()) {
        Table* child = element.is_object() ? tableOf(element.get_object()) : nullptr;
        if (!child) continue;
        if (usesJoinTable(r)) {
          std::int64_t childKey = insert(*child, element.get_object(), nullptr, 0, 0);
          join(table, r, key, childKey, position);
          if (r.inverse && usesJoinTable(*r.inverse)) join(*child, *r.inverse, childKey, key, 0);
        } else {
          insert(*child, element.get_object(), r.inverse, key, position);
        }
        ++position;
      }
    }
    return key;
  }
};

SchemaWalk::SchemaWalk(sqlite3* db, const graph::ManagedObjectModel& model)
    : impl_(std::make_unique<Impl>(db, model)) {}

SchemaWalk::~SchemaWalk() = default;

std::size_t SchemaWalk::insert(std::string_view text) {
  json::value tree = json::parse(text);
  Impl::Table* table = tree.is_object() ? impl_->tableOf(tree.get_object()) : nullptr;
  if (!table) std::abort();
  impl_->rows = 0;
  exec(impl_->db, "BEGIN");
  impl_->insert(*table, tree.get_object(), nullptr, 0, 0);
  exec(impl_->db, "COMMIT");
  return impl_->rows;
}

std::string rowCountDifferences(const std::filesystem::path& a, const std::filesystem::path& b) {
  auto counts = [](const std::filesystem::path& file) {
    sqlite3* db = openRaw(file);
    std::vector<std::pair<std::string, std::int64_t>> result;
    std::vector<std::string> names;
    {
      Statement tables(db,
                       "SELECT name FROM sqlite_master WHERE type = 'table' AND name LIKE 'Z%' "
                       "AND name NOT IN ('Z_METADATA', 'Z_PRIMARYKEY') ORDER BY name");
      while (sqlite3_step(tables.get()) == SQLITE_ROW) names.push_back(columnText(tables.get(), 0));
    }
    for (const auto& name : names) {
      Statement count(db, "SELECT COUNT(*) FROM \"" + name + "\"");
      sqlite3_step(count.get());
      result.emplace_back(name, sqlite3_column_int64(count.get(), 0));
    }
    sqlite3_close(db);
    return result;
  };
  auto left = counts(a), right = counts(b);
  std::string differences;
  if (left.size() != right.size()) return "the files have different tables";
  for (std::size_t i = 0; i < left.size(); ++i)
    if (left[i] != right[i])
      differences += left[i].first + " " + std::to_string(left[i].second) + " vs " +
                     std::to_string(right[i].second) + "; ";
  return differences;
}

}  // namespace orbelin::bench
