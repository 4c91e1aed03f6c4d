#include "orbelin/endpoints2/request2.h"

#include "endpoints/endpoint_support.h"
#include "orbelin/config/data_source_manager.h"
#include "orbelin/endpoints/request.h"
#include "orbelin/platform/console.h"

namespace orbelin {

Request2 Request2::Authentication(std::string username, std::string password) {
  return Request2(Case::Authentication, {std::move(username), std::move(password)});
}

Request2 Request2::Patient(std::string patientId) {
  return Request2(Case::Patient, {std::move(patientId)});
}

std::string_view Request2::serviceName(Case requestCase) {
  return requestCase == Case::Authentication ? "Authenticate" : "Patient";
}

std::string Request2::localResourceName() const {
  if (case_ == Case::Authentication) return "hospital/authentication";
  return "hospital/patients/patient." + arguments_.front();
}

std::string Request2::pathForServiceName(const std::string& name) {
  return DataSourceManager::pathForServiceName(name);
}

Request2::MethodAndPath Request2::methodAndPath() const {
  std::string path = pathForServiceName(std::string(serviceName(case_)));
  if (case_ == Case::Authentication) return {"POST", std::move(path)};
  return {"GET", endpoint_support::replacingAll(std::move(path), RequestPatientIdStringOccurrence,
                                                arguments_.front())};
}

TamberNetworking::URLRequest Request2::urlRequestWithBaseURLString(
    std::optional<std::string> baseURLString) const {
  MethodAndPath methodPath = methodAndPath();
  auto urlRequest =
      endpoint_support::urlRequestFor(baseURLString, methodPath.path, methodPath.method);
  if (case_ != Case::Authentication) return urlRequest;
  return endpoint_support::withCredentials(urlRequest, arguments_[0], arguments_[1]);
}

TamberNetworking::Response Request2::responseForURLRequest(
    const TamberNetworking::URLRequest& /*urlRequest*/) const {
  if (case_ == Case::Patient)
    platform::Console::log("responseForURLRequest for patient id: " + arguments_.front());
  return TamberNetworking::Response().withResource(localResourceName(), "json");
}

std::shared_ptr<TamberNetworking::Request> Request2::execute() const {
  return DataSourceManager::request(*this);
}

}  // namespace orbelin
