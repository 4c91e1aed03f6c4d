#include "orbelin/rest/rest_api.h"

#include "orbelin/rest/rest_api_util.h"

namespace orbelin {

void RestApiImpl::getPatient(const std::string& id, RestHandler handler) {
  RestApiUtil::GET("hospital/patients/patient." + id, std::move(handler));
}

void RestApiImpl::getInformationBooklet(const std::string& id, RestHandler handler) {
  RestApiUtil::GET("hospital/informationBooklets/informationBooklet." + id, std::move(handler));
}

void RestApiImpl::getStaffMember(const std::string& id, RestHandler handler) {
  RestApiUtil::GET("hospital/staffMembers/staffMember." + id, std::move(handler));
}

RestApi& restAPI() {
  // A function-local static is initialised once, also under concurrent first calls.
  static RestApiImpl* const shared = new RestApiImpl();
  return *shared;
}

}  // namespace orbelin
