#pragma once

#include <functional>
#include <optional>
#include <string>

#include "orbelin/networking/url_request.h"
#include "orbelin/platform/error.h"

namespace orbelin {

// What a REST call hands back: the URL request as sent (or as built, when it
// could not be sent), the server's response, the reply body as text (absent
// when nothing came back) and the error, if any.
//
// Thread: handlers run on the main queue (platform::MainQueue), where the
// networking library delivers every reply; nothing here switches threads.
using RestHandler = std::function<void(std::optional<TamberNetworking::URLRequest>,
                                       std::optional<TamberNetworking::HTTPURLResponse>,
                                       std::optional<std::string>, std::optional<Error>)>;

// The second-generation service client: fetches one record by id and hands
// the reply text to the handler unchanged, with reply validation on (a status
// outside 200-299 arrives as the library's validation error, body kept).
// Each handler runs exactly once, on the main queue.
class RestApi {
 public:
  virtual ~RestApi() = default;
  // GET "hospital/patients/patient." + id
  virtual void getPatient(const std::string& id, RestHandler handler) = 0;
  // GET "hospital/informationBooklets/informationBooklet." + id
  virtual void getInformationBooklet(const std::string& id, RestHandler handler) = 0;
  // GET "hospital/staffMembers/staffMember." + id
  virtual void getStaffMember(const std::string& id, RestHandler handler) = 0;
};

// The implementation over RestApiUtil::GET. No state; may be used from any
// thread.
class RestApiImpl : public RestApi {
 public:
  RestApiImpl() = default;
  void getPatient(const std::string& id, RestHandler handler) override;
  void getInformationBooklet(const std::string& id, RestHandler handler) override;
  void getStaffMember(const std::string& id, RestHandler handler) override;
};

// The process-wide client of the second-generation stores: a RestApiImpl
// created on first use (exactly once, also when threads race) and never
// destroyed.
RestApi& restAPI();

}  // namespace orbelin
