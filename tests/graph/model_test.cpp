#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "graph/test_model.h"

namespace orbelin::graph {
namespace {

using testing::hospitalModel;

TEST(ModelTest, DescribesEntitiesInDeclaredOrderWithResolvedInverses) {
  auto model = hospitalModel();
  const EntityDescription* patient = model->entity("Patient");
  ASSERT_NE(patient, nullptr);
  EXPECT_EQ(patient->managedObjectClassName(), "Patient");
  EXPECT_EQ(model->entity("Ward")->managedObjectClassName(), "WardRecord");
  EXPECT_EQ(model->entity("Task")->managedObjectClassName(), "ManagedObject");
  EXPECT_EQ(model->entity("patient"), nullptr);  // names are case-sensitive

  EXPECT_EQ(patient->attributeIndex("firstName"), 0u);
  EXPECT_EQ(patient->attributeIndex("staffIds"), 8u);
  EXPECT_EQ(patient->attributeIndex("ward"), kNoIndex);
  const RelationshipDescription* tasks = patient->relationship("tasks");
  ASSERT_NE(tasks, nullptr);
  EXPECT_TRUE(tasks->toMany && tasks->ordered);
  EXPECT_EQ(tasks->destination, model->entity("Task"));
  EXPECT_EQ(tasks->inverse, model->entity("Task")->relationship("patient"));

  // Property order is the declaration order, attributes and relationships mixed.
  const auto& properties = patient->properties();
  ASSERT_EQ(properties.size(), 13u);
  EXPECT_TRUE(properties[8].isAttribute);
  EXPECT_FALSE(properties[9].isAttribute);
  EXPECT_EQ(patient->relationships()[properties[9].index].name, "ward");
}

TEST(ModelTest, VersionIdentifierFollowsTheStoredShapeOnly) {
  auto a = hospitalModel();
  auto b = hospitalModel();
  EXPECT_EQ(a->versionIdentifier(), b->versionIdentifier());
  EXPECT_EQ(a->versionIdentifier().size(), 16u);

  ModelBuilder renamedClass;
  renamedClass.entityWithFactory("Ward", "Other", {})
      .attribute("name", AttributeType::String, false);
  ModelBuilder sameShape;
  sameShape.entity("Ward").attribute("name", AttributeType::String, false);
  ModelBuilder otherType;
  otherType.entity("Ward").attribute("name", AttributeType::Integer64, false);
  ModelBuilder optional;
  optional.entity("Ward").attribute("name", AttributeType::String, true);
  auto v1 = (*renamedClass.build())->versionIdentifier();
  EXPECT_EQ(v1, (*sameShape.build())->versionIdentifier());
  EXPECT_NE(v1, (*otherType.build())->versionIdentifier());
  EXPECT_NE(v1, (*optional.build())->versionIdentifier());
}

TEST(ModelTest, RejectsBrokenModelsWithAnError) {
  ModelBuilder missingDestination;
  missingDestination.entity("A").toOne("b", "B");
  auto r1 = missingDestination.build();
  ASSERT_FALSE(r1.ok());
  EXPECT_EQ(r1.error().domain(), error_domain::kPersistence);

  ModelBuilder disagreeing;
  disagreeing.entity("A").toOne("b", "B", "as");
  disagreeing.entity("B").toMany("as", "A", "other");
  EXPECT_FALSE(disagreeing.build().ok());

  ModelBuilder twice;
  twice.entity("A").attribute("x", AttributeType::String).toOne("x", "A");
  EXPECT_FALSE(twice.build().ok());

  ModelBuilder duplicateEntity;
  duplicateEntity.entity("A");
  duplicateEntity.entity("A");
  EXPECT_FALSE(duplicateEntity.build().ok());
}

TEST(ModelTest, MergesModelsAndRefusesDuplicateEntities) {
  ModelBuilder first;
  first.entity("A").attribute("x", AttributeType::String).toOne("b", "B", "a");
  first.entity("B").toOne("a", "A", "b");
  ModelBuilder second;
  second.entity("C").attribute("y", AttributeType::Double);
  auto merged = ManagedObjectModel::merged({*first.build(), *second.build()});
  ASSERT_TRUE(merged.ok());
  ASSERT_EQ((*merged)->entities().size(), 3u);
  // Relationships point into the merged model, not the originals.
  const EntityDescription* a = (*merged)->entity("A");
  EXPECT_EQ(a->relationship("b")->destination, (*merged)->entity("B"));
  EXPECT_EQ((*merged)->entity("C")->position(), 2u);

  auto again = ManagedObjectModel::merged({*merged, hospitalModel(), *merged});
  EXPECT_FALSE(again.ok());
}

// A record class whose ManagedObject base is not its first, with members of
// its own on both sides of it: the values an entity puts behind each object
// must overlap neither.
struct Leading {
  std::uint64_t tag[3] = {0x1111, 0x2222, 0x3333};
};
class Tagged : public Leading, public ManagedObject {
 public:
  char trailing[40] = "left alone by the values";
};

TEST(ModelTest, ObjectsKeepTheirValuesBesideTheirClassesOwnMembers) {
  ModelBuilder builder;
  builder.entity<Tagged>("Tagged")
      .attribute("name", AttributeType::String)
      .attribute("count", AttributeType::Integer64)
      .attribute("note", AttributeType::String);
  auto model = *builder.build();
  auto coordinator = std::make_shared<PersistentStoreCoordinator>(model);
  ASSERT_TRUE(coordinator->addPersistentStore(StoreType::InMemory, {}).ok());
  ManagedObjectContext context;
  context.setPersistentStoreCoordinator(coordinator);

  auto* object = dynamic_cast<Tagged*>(context.insertNewObject("Tagged"));
  ASSERT_NE(object, nullptr);
  const std::string longNote(200, 'n');
  object->setValue("name", "short");
  object->setValue("count", 7);
  object->setValue("note", longNote);
  EXPECT_EQ(object->value("name"), Value("short"));
  EXPECT_EQ(object->value("count").integer(), 7);
  EXPECT_EQ(object->value("note"), Value(longNote));
  EXPECT_EQ(object->tag[0], 0x1111u);
  EXPECT_EQ(object->tag[2], 0x3333u);
  EXPECT_STREQ(object->trailing, "left alone by the values");

  // An unattached instance knows its entity and has its values, all nil; it
  // frees them itself. One made without its entity has neither.
  auto prototype = model->entity("Tagged")->makeObject();
  EXPECT_EQ(&prototype->entity(), model->entity("Tagged"));
  EXPECT_TRUE(prototype->value("note").isNil());
  EXPECT_TRUE(prototype->valueAt(3).isNil());
  Tagged loose;
  EXPECT_TRUE(loose.entity().name().empty());
  EXPECT_TRUE(loose.value("name").isNil());
  EXPECT_FALSE(loose.setValue("name", "x"));
}

TEST(ModelCatalogTest, LoadsNamedModelsOnceAndReportsMissingOnes) {
  int builds = 0;
  ModelCatalog::registerModel("CatalogTestModel", [&builds] {
    ++builds;
    return hospitalModel();
  });
  auto first = ModelCatalog::model("CatalogTestModel");
  auto second = ModelCatalog::model("CatalogTestModel");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first, second);
  EXPECT_EQ(builds, 1);
  EXPECT_EQ(ModelCatalog::model("NoSuchModel"), nullptr);

  ModelCatalog::registerModel("FailingModel", [] { return nullptr; });
  EXPECT_EQ(ModelCatalog::model("FailingModel"), nullptr);
}

TEST(ModelCatalogTest, MergesTheModelsOfABundle) {
  const std::string bundle = "com.example.catalog-test";
  EXPECT_EQ(ModelCatalog::mergedModelFromBundle(bundle), nullptr);
  ModelCatalog::registerBundleModel(bundle, "Hospital", hospitalModel);
  auto single = ModelCatalog::mergedModelFromBundle(bundle);
  ASSERT_NE(single, nullptr);
  EXPECT_EQ(single, ModelCatalog::mergedModelFromBundle(bundle));
  ModelCatalog::registerBundleModel(bundle, "Extra", [] {
    ModelBuilder builder;
    builder.entity("Booklet").attribute("title", AttributeType::String);
    return *builder.build();
  });
  auto merged = ModelCatalog::mergedModelFromBundle(bundle);
  ASSERT_NE(merged, nullptr);
  EXPECT_NE(merged->entity("Booklet"), nullptr);
  EXPECT_NE(merged->entity("Patient"), nullptr);
  ModelCatalog::registerBundleModel(bundle, "Clash", hospitalModel);
  EXPECT_EQ(ModelCatalog::mergedModelFromBundle(bundle), nullptr);
  ModelCatalog::removeBundle(bundle);
  EXPECT_EQ(ModelCatalog::mergedModelFromBundle(bundle), nullptr);
}

TEST(WildcardTest, MatchesStarsQuestionMarksAndLiteralDots) {
  EXPECT_TRUE(wildcardMatch("MainStore.sqlite*", "MainStore.sqlite"));
  EXPECT_TRUE(wildcardMatch("MainStore.sqlite*", "MainStore.sqlite-wal"));
  EXPECT_FALSE(wildcardMatch("MainStore.sqlite*", "MainStoreXsqlite"));
  EXPECT_FALSE(wildcardMatch("MainStore.sqlite*", "IncompatibleMainStore.sqlite"));
  EXPECT_FALSE(wildcardMatch("MainStore.sqlite*", "mainstore.sqlite"));
  EXPECT_TRUE(wildcardMatch("MainStore.sqlite*", "mainstore.sqlite", true));
  EXPECT_TRUE(wildcardMatch("a?c", "abc"));
  EXPECT_FALSE(wildcardMatch("a?c", "ac"));
  EXPECT_TRUE(wildcardMatch("*a*b*", "xxaxxbxx"));
  EXPECT_TRUE(wildcardMatch("", ""));
  EXPECT_FALSE(wildcardMatch("", "a"));
  // Many stars on a long miss must not take exponential time.
  EXPECT_FALSE(wildcardMatch("*a*a*a*a*a*a*a*a*b", std::string(2000, 'a')));
}

}  // namespace
}  // namespace orbelin::graph
