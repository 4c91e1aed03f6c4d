// Paths and replies from outside reach the REST layer in two places: a path
// names a local resource (it must never leave the resource root, whatever
// its bytes), and a sign-in reply is read for its token. The input is
// "<path>\n<body or reply>".
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <unistd.h>

#include <algorithm>

#include "orbelin/networking/data_source_manager.h"
#include "orbelin/networking/json.h"
#include "orbelin/platform/console.h"
#include "orbelin/rest/response.h"
#include "orbelin/rest/rest_request.h"

namespace {

namespace fs = std::filesystem;

// A resource root with one file inside and one beside it, made once.
const fs::path& resourceRoot() {
  static const fs::path root = [] {
    fs::path base = fs::temp_directory_path() / ("orbelin-rest-fuzz-" + std::to_string(::getpid()));
    fs::create_directories(base / "root/hospital/patients");
    std::ofstream(base / "root/hospital/patients/patient.7.json") << "{}";
    std::ofstream(base / "outside.json") << "{}";
    TamberNetworking::DataSourceManager::setResourceRoot(base / "root");
    static const fs::path removeAtExit = base;
    std::atexit([] {
      std::error_code ignored;
      fs::remove_all(removeAtExit, ignored);
    });
    return base / "root";
  }();
  return root;
}

bool inside(const fs::path& root, const fs::path& file) {
  std::error_code error;
  fs::path realRoot = fs::weakly_canonical(root, error);
  fs::path realFile = fs::weakly_canonical(file, error);
  auto [rootEnd, fileEnd] =
      std::mismatch(realRoot.begin(), realRoot.end(), realFile.begin(), realFile.end());
  return rootEnd == realRoot.end();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const fs::path& root = resourceRoot();
  std::string input(reinterpret_cast<const char*>(data), size);
  std::size_t newline = input.find('\n');
  std::string path = input.substr(0, newline);
  std::string rest = newline == std::string::npos ? std::string() : input.substr(newline + 1);

  orbelin::platform::ConsoleCapture quiet;
  for (const auto& request :
       {orbelin::RestRequest::GET(path), orbelin::RestRequest::POST(path, rest),
        orbelin::RestRequest::POST(path, std::nullopt), orbelin::RestRequest::PUT(path, rest)}) {
    auto urlRequest = request.urlRequestWithBaseURLString("http://127.0.0.1:9");
    if (urlRequest.url.rfind("http://127.0.0.1:9/", 0) != 0) std::abort();
    (void)TamberNetworking::isValidURLText(urlRequest.url);
    auto response = request.responseForURLRequest(urlRequest);
    // An answer read from a file must come from inside the root.
    if (response.data() && !inside(root, response.path())) std::abort();
  }
  if (auto reply = TamberNetworking::JSON::parse(rest); reply.ok())
    (void)orbelin::Response::authenticationTokenFromJSON(*reply);
  return 0;
}
