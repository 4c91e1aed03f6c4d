#pragma once

// The object graph: models built in code, managed objects with key-value
// access, contexts with three kinds of concurrency, and in-memory or SQLite
// stores behind a coordinator. Both generations of records stand on it.
//
// A short tour:
//
//   using namespace orbelin::graph;
//
//   class Patient : public ManagedObject {
//    public:
//     std::string firstName() const { return valueAt(index().firstName).stringValue(); }
//     void setFirstName(std::string v) { setValueAt(index().firstName, std::move(v)); }
//     static FetchRequest fetchRequest() { return FetchRequest("Patient"); }
//    private:
//     struct Index { std::size_t firstName; };
//     const Index& index() const {  // looked up once per entity
//       static const Index i{entity().attributeIndex("firstName")};
//       return i;
//     }
//   };
//
//   ModelBuilder builder;
//   builder.entity<Patient>("Patient")
//       .attribute("firstName", AttributeType::String)
//       .toMany("tasks", "Task", "patient");
//   builder.entity("Task").attribute("title", AttributeType::String)
//       .toOne("patient", "Patient", "tasks");
//   std::shared_ptr<const ManagedObjectModel> model = *builder.build();
//
//   auto coordinator = std::make_shared<PersistentStoreCoordinator>(model);
//   coordinator->addPersistentStore(StoreType::InMemory, {});
//   ManagedObjectContext context(ConcurrencyType::Confinement);
//   context.setPersistentStoreCoordinator(coordinator);
//
//   auto* patient = context.insertNew<Patient>("Patient");   // a Patient
//   patient->setFirstName("Jo");
//   ManagedObject* task = context.insertNewObject("Task");
//   task->setObject("patient", patient);          // patient->objects("tasks") now holds task
//   patient->mutableSet("tasks").add(task);       // no-op: already there
//
//   FetchRequest request = Patient::fetchRequest();
//   request.setPredicate(Predicate::like("firstName", "J*"));
//   auto found = context.fetch(request);          // Result<std::vector<ManagedObject*>>
//   Status saved = context.save();
//
// Ownership in one line: a context owns its objects, callers hold raw
// pointers valid while the context lives (see ManagedObject). Stacks find
// their models through ModelCatalog.

#include "orbelin/graph/context.h"
#include "orbelin/graph/coordinator.h"
#include "orbelin/graph/fetch_request.h"
#include "orbelin/graph/managed_object.h"
#include "orbelin/graph/model.h"
#include "orbelin/graph/model_catalog.h"
#include "orbelin/graph/value.h"
