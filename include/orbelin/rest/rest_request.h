#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "orbelin/networking/data_source.h"
#include "orbelin/networking/request.h"

namespace orbelin {

// A service call by free path: GET of a path, or POST / PUT of a path with a
// JSON body given as text. The path is relative to the manager's base URL,
// with or without a leading "/", and may carry a query string.
//
//   DataSourceManager::request(RestRequest::GET("hospital/patients/patient.7"))
//
// Remote form: base URL (or "" when none) + urlSuffix(path); GET has no body;
// POST and PUT carry the UTF-8 bytes of the body text, or no body when it is
// absent or not valid UTF-8. No header is set here (the manager adds its
// defaults). A URL text that is not valid is never sent: the manager checks
// every request in one place and hands the handlers its bad-URL error.
//
// Local form: every case answers from the resource queryToFile(path) + ".json"
// under the manager's resource root, folders included
// ("hospital/patients/patient.7" reads hospital/patients/patient.7.json), with
// any leading "/" left out of the name: "/hospital/a" reads what "hospital/a"
// reads, and no path reaches outside the root. A
// local POST or PUT writes nothing anywhere: it logs its body and answers what
// a GET of the same path would. Console lines:
//   GET:  "file url = " + queryToFile(path)
//   POST: "LOCAL POST\n " + bodyDescription(body)
//   PUT:  "LOCAL PUT\n " + bodyDescription(body)
//
// A plain immutable value; copies may be used from any thread.
class RestRequest : public TamberNetworking::DataSourceRequest,
                    public TamberNetworking::RequestMatching {
 public:
  enum class Case { GET, POST, PUT };

  static RestRequest GET(std::string path);
  static RestRequest POST(std::string path, std::optional<std::string> body);
  static RestRequest PUT(std::string path, std::optional<std::string> body);

  Case requestCase() const { return case_; }
  const std::string& path() const { return path_; }
  const std::optional<std::string>& body() const { return body_; }
  // "GET", "POST" or "PUT".
  std::string_view method() const;

  // `path` when it begins with "/", else "/" + path ("" gives "/"). Nothing
  // else is normalised: a base URL ending in "/" gives "//".
  static std::string urlSuffix(std::string_view path);

  // How the local log lines show an optional body: Optional("<text>") when
  // present, nil when absent.
  static std::string bodyDescription(const std::optional<std::string>& body);

  // Hands this value to DataSourceManager::request and returns the library
  // request; never fails (errors reach the handlers attached to it).
  std::shared_ptr<TamberNetworking::Request> execute() const;

  TamberNetworking::URLRequest urlRequestWithBaseURLString(
      std::optional<std::string> baseURLString) const override;
  // The URL request is not consulted.
  TamberNetworking::Response responseForURLRequest(
      const TamberNetworking::URLRequest& urlRequest) const override;

 private:
  RestRequest(Case requestCase, std::string path, std::optional<std::string> body)
      : case_(requestCase), path_(std::move(path)), body_(std::move(body)) {}

  Case case_;
  std::string path_;
  std::optional<std::string> body_;
};

}  // namespace orbelin
