#pragma once

#include <vector>

#include "orbelin/networking/json.h"
#include "orbelin/records/task.h"

namespace orbelin::stores_internal {

// The summaries of "taskStatusSummary", in order; shared by the task and
// patient stores.
std::vector<TaskSummary*> taskSummaryForUserFromJSON(const TamberNetworking::JSON& json);

}  // namespace orbelin::stores_internal
