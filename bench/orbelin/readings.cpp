#include "readings.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "raw_sqlite.h"

namespace orbelin::bench {

namespace {

constexpr double kFirstDay = 1430000000.0;

class Reading : public graph::ManagedObject {
 public:
  std::optional<std::string> identifierAttributeName() const override { return "name"; }
};

std::shared_ptr<const graph::ManagedObjectModel> readingModel() {
  graph::ModelBuilder builder;
  builder.entity<Reading>("Reading")
      .attribute("name", graph::AttributeType::String)
      .attribute("count", graph::AttributeType::Integer64)
      .attribute("score", graph::AttributeType::Double)
      .attribute("flag", graph::AttributeType::Boolean)
      .attribute("taken", graph::AttributeType::Date);
  return *builder.build();
}

}  // namespace

void registerReadings() {
  static std::once_flag once;
  std::call_once(once, [] {
    graph::ModelCatalog::registerBundleModel(graph::kFrameworkBundleIdentifier, "Readings",
                                             readingModel);
  });
}

std::string readingName(int i) {
  return "reading-" + std::to_string(i);
}

ReadingIndex::ReadingIndex(const graph::EntityDescription& entity)
    : name(entity.attributeIndex("name")),
      count(entity.attributeIndex("count")),
      score(entity.attributeIndex("score")),
      flag(entity.attributeIndex("flag")),
      taken(entity.attributeIndex("taken")) {}

void fillReading(graph::ManagedObject* object, const ReadingIndex& index, int i) {
  object->setValueAt(index.name, readingName(i));
  object->setValueAt(index.count, i);
  object->setValueAt(index.score, i * 0.5);
  object->setValueAt(index.flag, i % 2 == 1);
  object->setValueAt(index.taken, dateFromSeconds(kFirstDay + i));
}

ReadingRow readReading(sqlite3_stmt* select) {
  return {sqlite3_column_int64(select, 0),    columnText(select, 1),
          sqlite3_column_int64(select, 2),    sqlite3_column_double(select, 3),
          sqlite3_column_int(select, 4) != 0, sqlite3_column_double(select, 5)};
}

void bindReading(sqlite3_stmt* insert, int i) {
  sqlite3_bind_int64(insert, 1, i + 1);
  bindText(insert, 2, readingName(i));
  sqlite3_bind_int64(insert, 3, i);
  sqlite3_bind_double(insert, 4, i * 0.5);
  sqlite3_bind_int(insert, 5, i % 2);
  sqlite3_bind_double(insert, 6, kFirstDay + i);
}

void writeReadingStore(const std::filesystem::path& folder, int count) {
  registerReadings();
  platform::HostEnvironment::setDocumentsDirectory(folder);
  ObjectStore store;
  auto context = store.backgroundQueueContext();
  ReadingIndex index(*store.model()->entity("Reading"));
  context->performAndWait([&] {
    for (int i = 0; i < count; ++i) fillReading(store.createObject("Reading"), index, i);
  });
  if (!store.saveChanges()) {
    std::fprintf(stderr, "saving %d readings failed\n", count);
    std::abort();
  }
}

}  // namespace orbelin::bench
