#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>

#include "graph/test_model.h"

namespace orbelin::graph {
namespace {

using testing::hospitalModel;

// Guards against lost class names, wrong indexes, unresolved inverses and reordered properties.
TEST(ModelTest, DescribesEntitiesInDeclaredOrderWithResolvedInverses) {
  auto model = hospitalModel();
  const EntityDescription* patient = model->entity("Patient");
  ASSERT_NE(patient, nullptr);
  EXPECT_EQ(model->entity("Ward")->managedObjectClassName(), "WardRecord");
  EXPECT_EQ(model->entity("Task")->managedObjectClassName(), "ManagedObject");
  EXPECT_EQ(model->entity("patient"), nullptr);  // names are case-sensitive

  EXPECT_EQ(patient->attributeIndex("staffIds"), 8u);
  EXPECT_EQ(patient->attributeIndex("ward"), kNoIndex);
  const RelationshipDescription* tasks = patient->relationship("tasks");
  ASSERT_NE(tasks, nullptr);
  EXPECT_TRUE(tasks->toMany && tasks->ordered);
  EXPECT_EQ(tasks->destination, model->entity("Task"));
  EXPECT_EQ(tasks->inverse, model->entity("Task")->relationship("patient"));

  const auto& properties = patient->properties();
  ASSERT_EQ(properties.size(), 13u);
  EXPECT_TRUE(properties[8].isAttribute);
  EXPECT_EQ(patient->relationships()[properties[9].index].name, "ward");
}

// Guards against a version that follows the class name or misses a change to a column.
TEST(ModelTest, VersionIdentifierFollowsTheStoredShapeOnly) {
  auto version = [](const char* className, AttributeType type, bool optional = false) {
    ModelBuilder builder;
    builder.entityWithFactory("Ward", className, {}).attribute("name", type, optional);
    return (*builder.build())->versionIdentifier();
  };
  const std::string base = version("Other", AttributeType::String);
  EXPECT_EQ(base, version("ManagedObject", AttributeType::String));
  EXPECT_NE(base, version("Other", AttributeType::Integer64));
  EXPECT_NE(base, version("Other", AttributeType::String, true));
}

// Guards against a broken model being built (and crashing later) instead of reported.
TEST(ModelTest, RejectsBrokenModelsWithAnError) {
  const std::vector<std::function<void(ModelBuilder&)>> broken = {
      [](ModelBuilder& b) { b.entity("A").toOne("b", "B"); },  // no such destination
      [](ModelBuilder& b) {
        b.entity("A").toOne("b", "B", "as");
        b.entity("B").toMany("as", "A", "other");  // inverses disagree
      },
      [](ModelBuilder& b) { b.entity("A").attribute("x", AttributeType::String).toOne("x", "A"); },
      [](ModelBuilder& b) {
        b.entity("A");
        b.entity("A");
      },
  };
  for (std::size_t i = 0; i < broken.size(); ++i) {
    ModelBuilder builder;
    broken[i](builder);
    auto built = builder.build();
    ASSERT_FALSE(built.ok()) << "case " << i;
    EXPECT_EQ(built.error().domain(), error_domain::kPersistence);
  }
}

// Guards against merged relationships pointing into the sources, and one entity merged twice.
TEST(ModelTest, MergesModelsAndRefusesDuplicateEntities) {
  ModelBuilder first;
  first.entity("A").attribute("x", AttributeType::String).toOne("b", "B", "a");
  first.entity("B").toOne("a", "A", "b");
  ModelBuilder second;
  second.entity("C").attribute("y", AttributeType::Double);
  auto merged = ManagedObjectModel::merged({*first.build(), *second.build()});
  ASSERT_TRUE(merged.ok());
  ASSERT_EQ((*merged)->entities().size(), 3u);
  EXPECT_EQ((*merged)->entity("A")->relationship("b")->destination, (*merged)->entity("B"));
  EXPECT_EQ((*merged)->entity("C")->position(), 2u);
  EXPECT_FALSE(ManagedObjectModel::merged({*merged, hospitalModel(), *merged}).ok());
}

// A record class whose ManagedObject base is not its first, with members of
// its own on both sides of it.
struct Leading {
  std::uint64_t tag[3] = {0x1111, 0x2222, 0x3333};
};
class Tagged : public Leading, public ManagedObject {
 public:
  char trailing[40] = "left alone by the values";
};

// Guards against values overlapping the class's own members, and crashes outside a context.
TEST(ModelTest, ObjectsKeepTheirValuesBesideTheirClassesOwnMembers) {
  ModelBuilder builder;
  builder.entity<Tagged>("Tagged")
      .attribute("name", AttributeType::String)
      .attribute("count", AttributeType::Integer64)
      .attribute("note", AttributeType::String);
  auto model = *builder.build();
  testing::Stack stack({}, model);
  auto* object = dynamic_cast<Tagged*>(stack.context.insertNewObject("Tagged"));
  ASSERT_NE(object, nullptr);
  const std::string longNote(200, 'n');
  object->setValue("name", "short");
  object->setValue("count", 7);
  object->setValue("note", longNote);
  EXPECT_EQ(object->value("name"), Value("short"));
  EXPECT_EQ(object->value("note"), Value(longNote));
  EXPECT_EQ(object->tag[2], 0x3333u);
  EXPECT_STREQ(object->trailing, "left alone by the values");

  // Unattached, an instance knows its entity and has its values, all nil;
  // one made without its entity has neither.
  auto prototype = model->entity("Tagged")->makeObject();
  EXPECT_EQ(&prototype->entity(), model->entity("Tagged"));
  EXPECT_TRUE(prototype->valueAt(2).isNil());
  Tagged loose;
  EXPECT_TRUE(loose.entity().name().empty());
  EXPECT_TRUE(loose.value("name").isNil());
  EXPECT_FALSE(loose.setValue("name", "x"));
}

// Guards against models built twice, failed or clashing ones handed out, and stale bundles.
TEST(ModelCatalogTest, LoadsModelsOnceAndMergesTheModelsOfABundle) {
  int builds = 0;
  ModelCatalog::registerModel("CatalogTestModel", [&builds] {
    ++builds;
    return hospitalModel();
  });
  auto first = ModelCatalog::model("CatalogTestModel");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, ModelCatalog::model("CatalogTestModel"));
  EXPECT_EQ(builds, 1);
  EXPECT_EQ(ModelCatalog::model("NoSuchModel"), nullptr);
  ModelCatalog::registerModel("FailingModel", [] { return nullptr; });
  EXPECT_EQ(ModelCatalog::model("FailingModel"), nullptr);

  const std::string bundle = "com.example.catalog-test";
  EXPECT_EQ(ModelCatalog::mergedModelFromBundle(bundle), nullptr);
  ModelCatalog::registerBundleModel(bundle, "Hospital", hospitalModel);
  ModelCatalog::registerBundleModel(bundle, "Extra", [] {
    ModelBuilder builder;
    builder.entity("Booklet").attribute("title", AttributeType::String);
    return *builder.build();
  });
  auto merged = ModelCatalog::mergedModelFromBundle(bundle);
  ASSERT_NE(merged, nullptr);
  EXPECT_EQ(merged, ModelCatalog::mergedModelFromBundle(bundle));
  EXPECT_NE(merged->entity("Booklet"), nullptr);
  EXPECT_NE(merged->entity("Patient"), nullptr);
  ModelCatalog::registerBundleModel(bundle, "Clash", hospitalModel);
  EXPECT_EQ(ModelCatalog::mergedModelFromBundle(bundle), nullptr);
  ModelCatalog::removeBundle(bundle);
  EXPECT_EQ(ModelCatalog::mergedModelFromBundle(bundle), nullptr);
}

// Guards against patterns matching too much or too little, or in exponential time.
TEST(WildcardTest, MatchesStarsQuestionMarksAndLiteralDots) {
  EXPECT_FALSE(wildcardMatch("MainStore.sqlite*", "MainStoreXsqlite"));
  EXPECT_FALSE(wildcardMatch("MainStore.sqlite*", "mainstore.sqlite"));
  EXPECT_TRUE(wildcardMatch("MainStore.sqlite*", "mainstore.sqlite", true));
  EXPECT_TRUE(wildcardMatch("a?c", "abc"));
  EXPECT_FALSE(wildcardMatch("a?c", "ac"));
  EXPECT_TRUE(wildcardMatch("*a*b*", "xxaxxbxx"));
  EXPECT_FALSE(wildcardMatch("", "a"));
  EXPECT_FALSE(wildcardMatch("*a*a*a*a*a*a*a*a*b", std::string(2000, 'a')));
}

}  // namespace
}  // namespace orbelin::graph
