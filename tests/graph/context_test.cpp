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

std::shared_ptr<PersistentStoreCoordinator> memoryCoordinator() {
  auto coordinator = std::make_shared<PersistentStoreCoordinator>(testing::hospitalModel());
  EXPECT_TRUE(coordinator->addPersistentStore(StoreType::InMemory, {}).ok());
  return coordinator;
}

std::vector<std::string> names(const Result<std::vector<ManagedObject*>>& objects) {
  std::vector<std::string> result;
  if (objects.ok())
    for (auto* o : *objects) result.push_back(o->value("firstName").stringValue());
  return result;
}

ManagedObject* patient(ManagedObjectContext& c, const std::string& name, int age) {
  ManagedObject* p = c.insertNewObject("Patient");
  p->setValue("firstName", name);
  p->setValue("age", age);
  return p;
}

// The context on a fresh in-memory store.
std::unique_ptr<ManagedObjectContext> memoryContext() {
  auto context = std::make_unique<ManagedObjectContext>();
  context->setPersistentStoreCoordinator(memoryCoordinator());
  return context;
}

TEST(ContextTest, FetchAppliesPredicatesSortAndUnsavedState) {
  auto owned = memoryContext();
  ManagedObjectContext& c = *owned;
  patient(c, "Ann", 30);
  ManagedObject* bob = patient(c, "Bob", 50);
  patient(c, "Abe", 70);
  ASSERT_TRUE(c.save().ok());
  patient(c, "Amy", 20);  // unsaved, still fetched

  using Names = std::vector<std::string>;
  auto threeLetters = Predicate::matching(
      [](const ManagedObject& o) { return o.value("firstName").stringValue().size() == 3; });
  const struct {
    std::optional<Predicate> predicate;
    std::vector<SortDescriptor> sort;
    std::size_t limit;
    Names expected;
  } cases[] = {
      {std::nullopt, {}, 0, {"Ann", "Bob", "Abe", "Amy"}},  // in insertion order
      {Predicate::like("firstName", "A*") && Predicate::greater("age", 25), {}, 0, {"Ann", "Abe"}},
      {Predicate::lessOrEqual("age", 30), {{"firstName", false}}, 0, {"Ann", "Amy"}},
      {threeLetters, {{"age", true}}, 2, {"Amy", "Ann"}},
      {Predicate::equal("firstName", "Zed"), {}, 0, {}},
  };
  for (const auto& [predicate, sort, limit, expected] : cases) {
    FetchRequest query("Patient");
    if (predicate) query.setPredicate(*predicate);
    query.setSortDescriptors(sort);
    query.setFetchLimit(limit);
    auto found = c.fetch(query);
    ASSERT_TRUE(found.ok());
    EXPECT_EQ(names(found), expected);
  }

  // The predicate sees unsaved values; deleted objects are left out.
  bob->setValue("firstName", "Abby");
  FetchRequest query("Patient");
  query.setPredicate(Predicate::like("firstName", "ab*", true));
  EXPECT_EQ(names(c.fetch(query)), (Names{"Abby", "Abe"}));
  c.deleteObject(bob);
  EXPECT_EQ(names(c.fetch(query)), Names{"Abe"});

  EXPECT_FALSE(c.fetch(FetchRequest("Nope")).ok());
  ManagedObjectContext bare;
  EXPECT_FALSE(bare.fetch(query).ok());
  EXPECT_EQ(bare.insertNewObject("Patient"), nullptr);
}

// A refused save keeps its changes; a rollback restores values, deletions
// and relationships on both sides, and drops insertions.
TEST(ContextTest, SaveRefusesInvalidChangesAndRollbackRestoresTheSavedState) {
  auto owned = memoryContext();
  ManagedObjectContext& c = *owned;
  EXPECT_FALSE(c.hasChanges());
  EXPECT_TRUE(c.save().ok());  // nothing to save
  ManagedObject* north = c.insertNewObject("Ward");
  EXPECT_TRUE(c.hasChanges());
  EXPECT_FALSE(c.save().ok());  // non-optional name missing
  EXPECT_TRUE(c.hasChanges());  // changes kept after a failed save
  north->setValue("name", "North");
  ManagedObject* south = c.insertNewObject("Ward");
  south->setValue("name", "South");
  ManagedObject* jo = patient(c, "Jo", 40);
  jo->setObject("ward", north);
  std::vector<ManagedObject*> tasks;
  for (const char* title : {"a", "b", "c"}) {
    tasks.push_back(c.insertNewObject("Task"));
    tasks.back()->setValue("title", title);
    jo->mutableOrderedSet("tasks").add(tasks.back());
  }
  ASSERT_TRUE(c.save().ok());
  EXPECT_FALSE(c.hasChanges());
  EXPECT_FALSE(jo->isInserted());

  jo->setValue("age", "forty");  // wrong kind: refused at save
  EXPECT_TRUE(jo->isUpdated());
  EXPECT_FALSE(c.save().ok());
  jo->setValue("age", 70000);  // out of Integer16 range
  EXPECT_FALSE(c.save().ok());

  // Values, insertions and deletions, no relationship changed.
  jo->setValue("firstName", "Joanna");
  ManagedObject* east = c.insertNewObject("Ward");
  east->setValue("name", "East");
  c.deleteObject(south);
  c.rollback();
  EXPECT_FALSE(c.hasChanges());
  EXPECT_EQ(jo->value("age").integer(), 40);
  EXPECT_EQ(jo->value("firstName").stringValue(), "Jo");
  EXPECT_FALSE(jo->isUpdated());
  EXPECT_FALSE(south->isDeleted());
  EXPECT_EQ(south->value("name").stringValue(), "South");
  EXPECT_EQ(east->context(), nullptr);  // rolled-back insert is detached
  EXPECT_EQ(*c.count(FetchRequest("Ward")), 2u);

  // Relationships alone, no value changed: the objects are marked changed by
  // the relationship change itself, and both sides come back.
  jo->setObject("ward", south);                        // to-one moved
  jo->mutableOrderedSet("tasks").remove(tasks[0]);     // ordered member removed
  jo->mutableOrderedSet("tasks").insert(tasks[0], 2);  // and put back last
  tasks[1]->setObject("patient", nullptr);             // from the other side
  EXPECT_TRUE(jo->isUpdated());
  c.rollback();
  EXPECT_FALSE(c.hasChanges());
  EXPECT_EQ(jo->object("ward"), north);
  EXPECT_EQ(north->objects("patients"), std::vector<ManagedObject*>{jo});
  EXPECT_TRUE(south->objects("patients").empty());
  EXPECT_EQ(jo->objects("tasks"), tasks) << "members and their order";
  for (ManagedObject* task : tasks) EXPECT_EQ(task->object("patient"), jo);
  jo->setValue("age", 41);
  EXPECT_TRUE(c.save().ok());
}

// Objects inserted without reserved keys are registered by temporary keys,
// which two contexts of one coordinator draw from one counter: each context
// finds its own objects by them (and not the other's), and by their
// permanent keys once saved.
TEST(ContextTest, TemporaryKeysFindTheirObjectsBeforeAndAfterTheSave) {
  auto coordinator = memoryCoordinator();
  ManagedObjectContext first, second;
  first.setPersistentStoreCoordinator(coordinator);
  second.setPersistentStoreCoordinator(coordinator);
  std::vector<ManagedObject*> mine, theirs;
  auto insert = [](ManagedObjectContext& c, std::vector<ManagedObject*>& into, int count) {
    for (int i = 0; i < count; ++i) into.push_back(patient(c, "p" + std::to_string(i), i % 100));
  };
  insert(first, mine, 1);
  insert(second, theirs, 10000);  // far past what the first context holds
  insert(first, mine, 3000);
  insert(second, theirs, 2);
  std::set<std::int64_t> temporary;
  for (ManagedObject* o : mine) {
    ASSERT_LT(o->objectID().primaryKey, 0);
    EXPECT_TRUE(temporary.insert(o->objectID().primaryKey).second);
    ASSERT_EQ(first.objectWithID(o->objectID()), o);
  }
  for (ManagedObject* o : theirs) {
    ASSERT_EQ(second.objectWithID(o->objectID()), o);
    ASSERT_NE(first.objectWithID(o->objectID()), o);
  }
  ASSERT_TRUE(first.save().ok());
  ASSERT_TRUE(second.save().ok());
  std::set<std::int64_t> permanent;
  for (auto* list : {&mine, &theirs}) {
    for (ManagedObject* o : *list) {
      ASSERT_GT(o->objectID().primaryKey, 0);
      EXPECT_TRUE(permanent.insert(o->objectID().primaryKey).second);
    }
  }
  for (ManagedObject* o : mine) ASSERT_EQ(first.objectWithID(o->objectID()), o);
  EXPECT_EQ(*first.count(FetchRequest("Patient")), mine.size() + theirs.size());
}

TEST(ContextTest, DidSaveNotificationCarriesChangesAndMergesIntoAnotherContext) {
  auto coordinator = memoryCoordinator();
  ManagedObjectContext writer(ConcurrencyType::PrivateQueue);
  ManagedObjectContext reader;
  writer.setPersistentStoreCoordinator(coordinator);
  reader.setPersistentStoreCoordinator(coordinator);

  std::vector<ContextDidSaveInfo> seen;
  auto& center = platform::NotificationCenter::defaultCenter();
  auto token = center.addObserver(kContextDidSaveNotification, &writer,
                                  [&](const platform::Notification& n) {
                                    seen.push_back(std::any_cast<ContextDidSaveInfo>(n.userInfo));
                                    reader.mergeChanges(n);
                                  });
  ManagedObject* jo = nullptr;
  ManagedObject* ward = nullptr;
  writer.performAndWait([&] {
    jo = patient(writer, "Jo", 40);
    ward = writer.insertNewObject("Ward");
    ward->setValue("name", "North");
    EXPECT_TRUE(writer.save().ok());
  });
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].inserted.size(), 2u);
  EXPECT_TRUE(seen[0].updated.empty());

  // The reader sees the new objects and holds them.
  auto fetched = reader.fetch(FetchRequest("Patient"));
  ASSERT_EQ(names(fetched), std::vector<std::string>{"Jo"});
  ManagedObject* readerJo = (*fetched)[0];
  EXPECT_NE(readerJo, jo);
  EXPECT_EQ(readerJo->objectID(), jo->objectID());
  EXPECT_EQ(readerJo->object("ward"), nullptr);

  // An update and a relationship change are merged into the held object.
  writer.performAndWait([&] {
    jo->setValue("age", 41);
    jo->setObject("ward", ward);
    EXPECT_TRUE(writer.save().ok());
  });
  EXPECT_EQ(readerJo->value("age").integer(), 41);
  ASSERT_NE(readerJo->object("ward"), nullptr);
  EXPECT_EQ(readerJo->object("ward")->value("name").stringValue(), "North");
  EXPECT_EQ(readerJo->object("ward")->objects("patients"), std::vector<ManagedObject*>{readerJo});

  // A merge keeps the reader's unsaved change and takes everything else;
  // a rollback then returns to the merged, stored state.
  readerJo->setValue("firstName", "Joanna");
  writer.performAndWait([&] {
    jo->setValue("age", 42);
    EXPECT_TRUE(writer.save().ok());
  });
  EXPECT_EQ(readerJo->value("firstName").stringValue(), "Joanna");
  EXPECT_EQ(readerJo->value("age").integer(), 42);
  reader.rollback();
  EXPECT_EQ(readerJo->value("firstName").stringValue(), "Jo");
  EXPECT_EQ(readerJo->value("age").integer(), 42);

  // A deletion detaches the reader's copy.
  writer.performAndWait([&] {
    writer.deleteObject(jo);
    EXPECT_TRUE(writer.save().ok());
  });
  EXPECT_EQ(seen.back().deleted.size(), 1u);
  EXPECT_EQ(readerJo->context(), nullptr);
  EXPECT_TRUE(reader.fetch(FetchRequest("Patient"))->empty());
  // A save without changes posts nothing.
  writer.performAndWait([&] { EXPECT_TRUE(writer.save().ok()); });
  EXPECT_EQ(seen.size(), 4u);
  center.removeObserver(token);
}

TEST(ContextTest, PerformRunsOnTheContextsQueue) {
  ManagedObjectContext priv(ConcurrencyType::PrivateQueue);
  const std::thread::id caller = std::this_thread::get_id();
  // perform runs on the queue's own thread, after what was queued before.
  std::thread::id queueThread;
  std::atomic<bool> ran{false};
  priv.perform([&] { queueThread = std::this_thread::get_id(); });
  priv.perform([&] { ran = std::this_thread::get_id() == queueThread; });
  // performAndWait waits for both, then runs (on an idle queue, on the
  // caller's thread, as the platform may); nested, it runs inline instead
  // of deadlocking.
  bool nestedInline = false;
  std::thread::id waitedOn;
  priv.performAndWait([&] {
    waitedOn = std::this_thread::get_id();
    priv.performAndWait([&] { nestedInline = std::this_thread::get_id() == waitedOn; });
  });
  EXPECT_TRUE(ran.load());
  EXPECT_NE(queueThread, caller);
  EXPECT_TRUE(nestedInline);

  ManagedObjectContext main(ConcurrencyType::MainQueue);
  bool onMain = false;
  main.performAndWait([&] { onMain = platform::MainQueue::isMainThread(); });  // inline on main
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

TEST(ContextTest, ConcurrentInsertsAndSavesFromManyThreadsLoseNothing) {
  auto coordinator = memoryCoordinator();
  ManagedObjectContext context(ConcurrencyType::PrivateQueue);
  context.setPersistentStoreCoordinator(coordinator);
  constexpr int kThreads = 4, kPerThread = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kPerThread; ++i) {
        // Insert on the caller's thread, save on the context's queue.
        patient(context, "T" + std::to_string(t), i);
        if (i % 50 == 0) context.performAndWait([&] { EXPECT_TRUE(context.save().ok()); });
      }
    });
  }
  for (auto& t : threads) t.join();
  context.performAndWait([&] { EXPECT_TRUE(context.save().ok()); });
  ManagedObjectContext reader;
  reader.setPersistentStoreCoordinator(coordinator);
  EXPECT_EQ(*reader.count(FetchRequest("Patient")),
            static_cast<std::size_t>(kThreads * kPerThread));
}

TEST(ContextTest, ABatchKeepsASaveFromAnotherThreadOutUntilItEnds) {
  auto coordinator = memoryCoordinator();
  ManagedObjectContext context;
  context.setPersistentStoreCoordinator(coordinator);
  std::atomic<bool> batchEnded{false};
  std::atomic<bool> savedInsideTheBatch{false};
  std::thread saver;
  {
    ManagedObjectContext::Batch batch(context);
    ManagedObject* half = patient(context, "Half", 1);
    saver = std::thread([&] {
      ASSERT_TRUE(context.save().ok());
      savedInsideTheBatch = !batchEnded.load();
    });
    // Time for the other thread to reach its save: it must wait, and then
    // find the object whole. Calls inside the batch still work.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    half->setValue("age", 2);
    EXPECT_EQ(half->value("age").integer(), 2);
    batchEnded = true;
  }
  saver.join();
  EXPECT_FALSE(savedInsideTheBatch);
  ManagedObjectContext reader;
  reader.setPersistentStoreCoordinator(coordinator);
  FetchRequest request("Patient");
  request.setPredicate(Predicate::equal("age", 2));
  EXPECT_EQ(*reader.count(request), 1u);
}

}  // namespace
}  // namespace orbelin::graph
