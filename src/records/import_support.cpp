#include "records/import_support.h"

#include "orbelin/stack/core_data_stack.h"

namespace orbelin::records_detail {
namespace {
thread_local int importDepth = 0;
}  // namespace

ImportScope::ImportScope() {
  registerFirstGenerationModel();
  context_ = CoreDataStack::sharedInstance().managedObjectContext();
  ++importDepth;
}

ImportScope::~ImportScope() {
  --importDepth;
}

bool ImportScope::nestedAllowed() const {
  return importDepth < kMaxNestedImportDepth;
}

}  // namespace orbelin::records_detail
