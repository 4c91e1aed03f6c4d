// Service replies read through the networking JSON view and imported as
// first-generation records: the sign-in reply ("staffMember", as the staff
// store's login reads it) and arrays of patients, tasks and notifications.
// Whatever the bytes, parsing either fails cleanly or gives a document whose
// every conversion has a value, and every import inserts a record.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "orbelin/networking/json.h"
#include "orbelin/platform/console.h"
#include "orbelin/records/patient.h"
#include "orbelin/records/staff.h"
#include "orbelin/records/task.h"
#include "orbelin/stack/core_data_stack.h"

namespace {

using TamberNetworking::JSON;

// Every conversion of every node, as imports may ask any key of any kind.
void readAll(const JSON& node, std::size_t depth) {
  if (depth > JSON::kMaxDepth + 1) std::abort();  // parse() refuses deeper text
  (void)node.stringValue();
  (void)node.intValue();
  (void)node.boolValue();
  (void)node.dateValue();
  (void)node.date();
  double number = node.doubleValue();
  if (!node.raw().is_number() && number != 0.0) std::abort();
  if (node.raw().is_number() && !std::isfinite(number)) std::abort();  // "1e309" is refused
  if (node.isObject()) {
    for (const auto& member : node.raw().as_object()) readAll(node[member.key()], depth + 1);
  }
  std::size_t count = 0;
  for (const JSON& element : node) {
    readAll(element, depth + 1);
    ++count;
  }
  if (count != (node.isArray() ? node.size() : 0)) std::abort();
}

template <typename Record>
void importArray(const JSON& array) {
  for (const JSON& element : array) {
    if (Record::create(element) == nullptr) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  orbelin::platform::ConsoleCapture quiet;
  auto parsed = JSON::parse(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!parsed) return 0;
  const JSON& reply = *parsed;
  readAll(reply, 0);

  auto context = orbelin::CoreDataStack::sharedInstance().managedObjectContext();
  if (!context) std::abort();
  if (orbelin::StaffMember::create(reply["staffMember"]) == nullptr) std::abort();
  if (orbelin::Patient::create(reply["patient"]) == nullptr) std::abort();
  importArray<orbelin::Patient>(reply["patients"]);
  importArray<orbelin::Task>(reply["tasks"]);
  importArray<orbelin::Task>(reply["userTasks"]);
  importArray<orbelin::Task>(reply["allTasks"]);
  importArray<orbelin::Notification>(reply["notifications"]);
  // A bare array is read as records of each kind.
  importArray<orbelin::Patient>(reply);
  importArray<orbelin::Task>(reply);
  importArray<orbelin::Notification>(reply);
  // Each input starts from an empty context, so memory stays bounded.
  context->reset();
  return 0;
}
