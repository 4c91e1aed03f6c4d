#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <thread>

#include "graph/test_model.h"
#include "orbelin/platform/main_queue.h"
#include "support/test_support.h"

namespace orbelin::graph {
namespace {

using testing::fetched;
using testing::insert;
using testing::request;
using testing::Stack;
using Names = std::vector<std::string>;
using Objects = std::vector<ManagedObject*>;

ManagedObject* patient(ManagedObjectContext& c, const std::string& name, int age) {
  return insert(c, "Patient", {{"firstName", name}, {"age", age}});
}

// Guards against fetches missing unsaved changes, keeping deletions, or misapplying a request.
TEST(ContextTest, FetchAppliesPredicatesSortAndUnsavedState) {
  Stack s;
  ManagedObjectContext& c = s.context;
  patient(c, "Ann", 30);
  ManagedObject* bob = patient(c, "Bob", 50);
  patient(c, "Abe", 70);
  ASSERT_TRUE(c.save().ok());
  patient(c, "Amy", 20);  // unsaved, still fetched

  auto threeLetters = Predicate::matching(
      [](const ManagedObject& o) { return o.value("firstName").stringValue().size() == 3; });
  const struct {
    FetchRequest request;
    Names expected;
  } cases[] = {
      {request("Patient"), {"Ann", "Bob", "Abe", "Amy"}},  // in insertion order
      {request("Patient", Predicate::like("firstName", "A*") && Predicate::greater("age", 25)),
       {"Ann", "Abe"}},
      {request("Patient", Predicate::lessOrEqual("age", 30), {{"firstName", false}}),
       {"Ann", "Amy"}},
      {request("Patient", threeLetters, {{"age", true}}, 2), {"Amy", "Ann"}},
  };
  for (const auto& [query, expected] : cases) EXPECT_EQ(fetched(c, query, "firstName"), expected);

  bob->setValue("firstName", "Abby");
  const FetchRequest query = request("Patient", Predicate::like("firstName", "ab*", true));
  EXPECT_EQ(fetched(c, query, "firstName"), (Names{"Abby", "Abe"}));
  c.deleteObject(bob);
  EXPECT_EQ(fetched(c, query, "firstName"), Names{"Abe"});

  EXPECT_FALSE(c.fetch(FetchRequest("Nope")).ok());
  ManagedObjectContext bare;
  EXPECT_FALSE(bare.fetch(query).ok());
  EXPECT_EQ(bare.insertNewObject("Patient"), nullptr);
}

// Guards against invalid values saved and rollbacks that miss values, objects or relationships.
TEST(ContextTest, SaveRefusesInvalidChangesAndRollbackRestoresTheSavedState) {
  Stack s;
  ManagedObjectContext& c = s.context;
  ManagedObject* north = c.insertNewObject("Ward");
  EXPECT_FALSE(c.save().ok());  // non-optional name missing
  EXPECT_TRUE(c.hasChanges());
  north->setValue("name", "North");
  ManagedObject* south = insert(c, "Ward", {{"name", "South"}});
  ManagedObject* jo = patient(c, "Jo", 40);
  jo->setObject("ward", north);
  Objects tasks;
  for (const char* title : {"a", "b", "c"}) {
    tasks.push_back(insert(c, "Task", {{"title", title}}));
    jo->mutableOrderedSet("tasks").add(tasks.back());
  }
  ASSERT_TRUE(c.save().ok());

  jo->setValue("age", "forty");  // wrong kind
  EXPECT_FALSE(c.save().ok());
  jo->setValue("age", 70000);  // out of Integer16 range
  EXPECT_FALSE(c.save().ok());

  jo->setValue("firstName", "Joanna");
  ManagedObject* east = insert(c, "Ward", {{"name", "East"}});
  c.deleteObject(south);
  c.rollback();
  EXPECT_FALSE(c.hasChanges());
  EXPECT_EQ(jo->value("age").integer(), 40);
  EXPECT_EQ(jo->value("firstName").stringValue(), "Jo");
  EXPECT_FALSE(south->isDeleted());
  EXPECT_EQ(east->context(), nullptr);
  EXPECT_EQ(*c.count(FetchRequest("Ward")), 2u);

  // Relationships alone mark the objects changed, and come back on both sides.
  jo->setObject("ward", south);
  jo->mutableOrderedSet("tasks").remove(tasks[0]);
  jo->mutableOrderedSet("tasks").insert(tasks[0], 2);
  tasks[1]->setObject("patient", nullptr);
  EXPECT_TRUE(jo->isUpdated());
  c.rollback();
  EXPECT_FALSE(c.hasChanges());
  EXPECT_EQ(north->objects("patients"), Objects{jo});
  EXPECT_TRUE(south->objects("patients").empty());
  EXPECT_EQ(jo->objects("tasks"), tasks);
  for (ManagedObject* task : tasks) EXPECT_EQ(task->object("patient"), jo);
}

// Guards against clashing temporary keys and objects lost to their keys across a save.
TEST(ContextTest, TemporaryKeysFindTheirObjectsBeforeAndAfterTheSave) {
  Stack s;
  ManagedObjectContext& first = s.context;
  ManagedObjectContext second;
  second.setPersistentStoreCoordinator(s.coordinator);
  Objects mine, theirs;
  auto add = [](ManagedObjectContext& c, Objects& into, int count) {
    for (int i = 0; i < count; ++i) into.push_back(patient(c, "p", i % 100));
  };
  add(first, mine, 1);
  add(second, theirs, 10000);  // far past what the first context holds
  add(first, mine, 3000);
  add(second, theirs, 2);
  for (ManagedObject* o : mine) {
    ASSERT_LT(o->objectID().primaryKey, 0);
    ASSERT_EQ(first.objectWithID(o->objectID()), o);
  }
  for (ManagedObject* o : theirs) ASSERT_NE(first.objectWithID(o->objectID()), o);
  ASSERT_TRUE(first.save().ok());
  ASSERT_TRUE(second.save().ok());
  std::set<std::int64_t> permanent;
  for (auto* list : {&mine, &theirs}) {
    for (ManagedObject* o : *list) EXPECT_TRUE(permanent.insert(o->objectID().primaryKey).second);
  }
  EXPECT_GT(*permanent.begin(), 0);
  for (ManagedObject* o : mine) ASSERT_EQ(first.objectWithID(o->objectID()), o);
  EXPECT_EQ(*first.count(FetchRequest("Patient")), mine.size() + theirs.size());
}

// Guards against wrong, doubled or missing did-save posts and merges that lose a change.
TEST(ContextTest, DidSaveNotificationCarriesChangesAndMergesIntoAnotherContext) {
  Stack s({}, testing::hospitalModel(), ConcurrencyType::PrivateQueue);
  ManagedObjectContext& writer = s.context;
  ManagedObjectContext reader;
  reader.setPersistentStoreCoordinator(s.coordinator);
  std::vector<ContextDidSaveInfo> seen;
  auto& center = platform::NotificationCenter::defaultCenter();
  auto token = center.addObserver(kContextDidSaveNotification, &writer,
                                  [&](const platform::Notification& n) {
                                    seen.push_back(std::any_cast<ContextDidSaveInfo>(n.userInfo));
                                    reader.mergeChanges(n);
                                  });
  auto save = [&](const std::function<void()>& change) {
    writer.performAndWait([&] {
      change();
      EXPECT_TRUE(writer.save().ok());
    });
  };
  ManagedObject* jo = nullptr;
  ManagedObject* ward = nullptr;
  save([&] {
    jo = patient(writer, "Jo", 40);
    ward = insert(writer, "Ward", {{"name", "North"}});
  });
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].inserted.size(), 2u);
  EXPECT_TRUE(seen[0].updated.empty());

  auto fetchedJo = reader.fetch(FetchRequest("Patient"));
  ASSERT_TRUE(fetchedJo.ok() && fetchedJo->size() == 1u);
  ManagedObject* readerJo = (*fetchedJo)[0];
  EXPECT_EQ(readerJo->objectID(), jo->objectID());

  save([&] {
    jo->setValue("age", 41);
    jo->setObject("ward", ward);
  });
  EXPECT_EQ(readerJo->value("age").integer(), 41);
  ASSERT_NE(readerJo->object("ward"), nullptr);
  EXPECT_EQ(readerJo->object("ward")->value("name").stringValue(), "North");
  EXPECT_EQ(readerJo->object("ward")->objects("patients"), Objects{readerJo});

  // A merge keeps the reader's unsaved change; a rollback returns to the merged state.
  readerJo->setValue("firstName", "Joanna");
  save([&] { jo->setValue("age", 42); });
  EXPECT_EQ(readerJo->value("firstName").stringValue(), "Joanna");
  reader.rollback();
  EXPECT_EQ(readerJo->value("firstName").stringValue(), "Jo");
  EXPECT_EQ(readerJo->value("age").integer(), 42);

  save([&] { writer.deleteObject(jo); });
  EXPECT_EQ(seen.back().deleted.size(), 1u);
  EXPECT_EQ(readerJo->context(), nullptr);
  save([] {});  // no changes: nothing posted
  EXPECT_EQ(seen.size(), 4u);
  center.removeObserver(token);
}

// Guards against work run on the wrong thread, out of order, never, or deadlocked when nested.
TEST(ContextTest, PerformRunsOnTheContextsQueue) {
  ManagedObjectContext priv(ConcurrencyType::PrivateQueue);
  std::thread::id queueThread;
  std::atomic<bool> ran{false};
  priv.perform([&] { queueThread = std::this_thread::get_id(); });
  priv.perform([&] { ran = std::this_thread::get_id() == queueThread; });
  // performAndWait waits for both; nested, it runs inline.
  bool nestedInline = false;
  priv.performAndWait([&] {
    const auto outer = std::this_thread::get_id();
    priv.performAndWait([&] { nestedInline = std::this_thread::get_id() == outer; });
  });
  EXPECT_TRUE(ran.load());
  EXPECT_NE(queueThread, std::this_thread::get_id());
  EXPECT_TRUE(nestedInline);

  ManagedObjectContext main(ConcurrencyType::MainQueue);
  bool onMain = false;
  main.performAndWait([&] { onMain = platform::MainQueue::isMainThread(); });
  EXPECT_TRUE(onMain);
  std::atomic<bool> fromOtherThread{false};
  std::thread other(
      [&] { main.performAndWait([&] { fromOtherThread = platform::MainQueue::isMainThread(); }); });
  EXPECT_TRUE(test::runMainQueueUntil([&] { return fromOtherThread.load(); }));
  other.join();
  bool asyncRan = false;
  main.perform([&] { asyncRan = true; });
  EXPECT_FALSE(asyncRan);
  EXPECT_TRUE(test::runMainQueueUntil([&] { return asyncRan; }));

  ManagedObjectContext confined;
  bool inline_ = false;
  confined.perform([&] { inline_ = true; });
  EXPECT_TRUE(inline_);
}

// Guards against inserts lost when other threads insert and save at once.
TEST(ContextTest, ConcurrentInsertsAndSavesFromManyThreadsLoseNothing) {
  Stack s({}, testing::hospitalModel(), ConcurrencyType::PrivateQueue);
  constexpr int kThreads = 4, kPerThread = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kPerThread; ++i) {
        patient(s.context, "T", i);  // inserted on the caller's thread
        if (i % 50 == 0) s.context.performAndWait([&] { EXPECT_TRUE(s.context.save().ok()); });
      }
    });
  }
  for (auto& t : threads) t.join();
  s.context.performAndWait([&] { EXPECT_TRUE(s.context.save().ok()); });
  ManagedObjectContext reader;
  reader.setPersistentStoreCoordinator(s.coordinator);
  EXPECT_EQ(*reader.count(FetchRequest("Patient")),
            static_cast<std::size_t>(kThreads * kPerThread));
}

// Guards against another thread's save writing a half-made object in the middle of a batch.
TEST(ContextTest, ABatchKeepsASaveFromAnotherThreadOutUntilItEnds) {
  Stack s;
  std::atomic<bool> batchEnded{false};
  std::atomic<bool> savedInsideTheBatch{false};
  std::thread saver;
  {
    ManagedObjectContext::Batch batch(s.context);
    ManagedObject* half = patient(s.context, "Half", 1);
    saver = std::thread([&] {
      ASSERT_TRUE(s.context.save().ok());
      savedInsideTheBatch = !batchEnded.load();
    });
    // Time for the other thread to reach its save, which must wait.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    half->setValue("age", 2);
    batchEnded = true;
  }
  saver.join();
  EXPECT_FALSE(savedInsideTheBatch);
  ManagedObjectContext reader;
  reader.setPersistentStoreCoordinator(s.coordinator);
  EXPECT_EQ(*reader.count(request("Patient", Predicate::equal("age", 2))), 1u);
}

}  // namespace
}  // namespace orbelin::graph
