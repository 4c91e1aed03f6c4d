#include "orbelin/stores/staff_store.h"

#include "stores/store_support.h"

namespace orbelin {

using TamberNetworking::JSON;
using namespace stores_internal;

namespace {

StaffMember* staffMemberFromJSON(const JSON& json) {
  return StaffMember::create(json["staffMember"]);
}

std::vector<StaffMember*> staffFromJSON(const JSON& json) {
  return importEach<StaffMember>(json["staff"], &StaffMember::create);
}

std::pair<std::vector<StaffMember*>, std::vector<StaffSummary*>> staffWithSummaryFromJSON(
    const JSON& json) {
  auto staff = staffFromJSON(json);
  auto summary = importEach<StaffSummary>(json["staffSummary"], &StaffSummary::create);
  return {std::move(staff), std::move(summary)};
}

std::vector<std::string> staffIssuesFromJSON(const JSON& json) {
  std::vector<std::string> issues;
  for (const JSON& issue : json["issues"].arrayValue()) issues.push_back(issue.stringValue());
  return issues;
}

// The lists that two of the operations share.
StoreRequest fetchStaff(const Request& request, StaffStore::StaffMembersHandler handler) {
  return executeJSON(
      request, [handler](const JSON& json) { deliver(handler, staffFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

}  // namespace

StoreRequest StaffStore::authentication(const std::string& username, const std::string& password,
                                        StaffMemberHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::Authentication(username, password),
      [handler](const JSON& json) { deliver(handler, staffMemberFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, nullptr, std::move(error)); });
}

StoreRequest StaffStore::staffMembersForShiftId(std::int64_t shiftId,
                                                StaffMembersHandler completionHandler) {
  return fetchStaff(Request::Staff(decimal(shiftId)), std::move(completionHandler));
}

StoreRequest StaffStore::staffMembersWithSummaryForShiftId(
    std::int64_t shiftId, StaffWithSummaryHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::Staff(decimal(shiftId)),
      [handler](const JSON& json) {
        auto [staff, summary] = staffWithSummaryFromJSON(json);
        deliver(handler, std::move(staff), std::move(summary), std::nullopt);
      },
      [handler](Error error) { deliver(handler, std::nullopt, std::nullopt, std::move(error)); });
}

StoreRequest StaffStore::issuesForStaffId(std::int64_t staffId, IssuesHandler completionHandler) {
  auto handler = std::move(completionHandler);
  return executeJSON(
      Request::Issues(decimal(staffId)),
      [handler](const JSON& json) { deliver(handler, staffIssuesFromJSON(json), std::nullopt); },
      [handler](Error error) { deliver(handler, std::nullopt, std::move(error)); });
}

StoreRequest StaffStore::staffMembersForPatientId(std::int64_t patientId,
                                                  StaffMembersHandler completionHandler) {
  return fetchStaff(Request::StaffForPatient(decimal(patientId)), std::move(completionHandler));
}

StaffMember* StaffStore::firstFromStaffMembersWithRole(
    const std::vector<StaffMember*>& staffMembers, std::int64_t role) {
  for (StaffMember* member : staffMembers) {
    if (member == nullptr || member->role() == nullptr) continue;
    if (member->role()->id() == role) return member;
  }
  return nullptr;
}

}  // namespace orbelin
