#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/networking/data_source.h"
#include "orbelin/networking/request.h"

namespace orbelin {

// The second-generation service calls a host may make directly: signing in
// and fetching one patient. They are built exactly like the first-generation
// Request (same "DataSourcePaths" lookup, same literal "{patientId}"
// replacement, same URL joining and the same JSON credentials body), but
// answer locally from the "hospital/" folder that the REST client reads:
//
//   Authentication(user, password)  POST  "Authenticate"  hospital/authentication.json
//   Patient(id)                     GET   "Patient"       hospital/patients/patient.<id>.json
//
//   Request2::Patient("7").execute()->responseJSON(handler);
//
// Locally, Patient prints "responseForURLRequest for patient id: " + id.
// A URL text that is not valid is never sent: the handler gets the library's
// bad-URL error. The second-generation stores use restAPI() instead.
//
// A plain immutable value; copies may be used from any thread.
class Request2 : public TamberNetworking::DataSourceRequest,
                 public TamberNetworking::RequestMatching {
 public:
  enum class Case { Authentication, Patient };

  static Request2 Authentication(std::string username, std::string password);
  static Request2 Patient(std::string patientId);

  Case requestCase() const { return case_; }
  const std::vector<std::string>& arguments() const { return arguments_; }

  // "Authenticate" or "Patient".
  static std::string_view serviceName(Case requestCase);
  // "hospital/authentication" or "hospital/patients/patient.<id>" (type "json").
  std::string localResourceName() const;

  // Hands this value to DataSourceManager::request and returns the library
  // request unchanged; never fails (errors reach the attached handler).
  std::shared_ptr<TamberNetworking::Request> execute() const;

  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> baseURLString) const override;
  // The URL request is not consulted.
  TamberNetworking::Response responseForURLRequest(
      const TamberNetworking::URLRequest& urlRequest) const override;

 private:
  Request2(Case requestCase, std::vector<std::string> arguments)
      : case_(requestCase), arguments_(std::move(arguments)) {}

  struct MethodAndPath {
    std::string method;
    std::string path;
  };
  MethodAndPath methodAndPath() const;
  static std::string pathForServiceName(const std::string& name);

  Case case_;
  std::vector<std::string> arguments_;
};

}  // namespace orbelin
