#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/object.hpp>

namespace orbelin::test {

// One request as the sample service received it.
struct RecordedRequest {
  std::string method;
  std::string path;  // with the query string, if any
  std::map<std::string, std::string> headers;
  std::string body;
  std::size_t replyBytes = 0;  // the reply body as sent, after any encoding

  // Header value by name, compared without case; "" when absent.
  std::string header(const std::string& name) const;
};

// tools/sample_service.py running as a child process on 127.0.0.1, on a free
// port, serving `resources` at the paths of `infoPlist`'s "DataSourcePaths".
// The constructor waits until the service listens; the destructor stops it
// (SIGTERM, then SIGKILL after two seconds) and reaps it.
//
//   SampleService service(sampleResourcesDir(), bundledInfoPlist());
//   if (!service.running()) FAIL() << service.failure();
//   OrbelinFramework::settings().setup(false, service.baseUrl());
//
// The control calls are blocking HTTP calls from the calling thread; they never
// touch the main queue, so they are safe to call between requests in a test.
// Thread safety: one owner thread.
class SampleService {
 public:
  struct Options {
    std::string user = "nurse";
    std::string password = "orbelin";
    std::chrono::milliseconds startTimeout{10000};
    // More of the script's options ("--compress", "--moved", "/old").
    std::vector<std::string> arguments;
    // HTTPS with this certificate (chain) and key; baseUrl() says https then.
    std::optional<std::filesystem::path> tlsCertificate;
    std::optional<std::filesystem::path> tlsKey;
  };

  SampleService(const std::filesystem::path& resources, const std::filesystem::path& infoPlist);
  SampleService(const std::filesystem::path& resources, const std::filesystem::path& infoPlist,
                Options options);
  ~SampleService();
  SampleService(const SampleService&) = delete;
  SampleService& operator=(const SampleService&) = delete;

  bool running() const { return port_ != 0; }
  // Why the service did not start; "" when it runs.
  const std::string& failure() const { return failure_; }
  int port() const { return port_; }
  // "http://127.0.0.1:PORT" or "https://127.0.0.1:PORT" (no trailing slash).
  std::string baseUrl() const;

  // The requests received since start or the last reset(), control calls excluded.
  std::vector<RecordedRequest> requests() const;
  // Selects a fault: {"status": 500}, {"delay_ms": 2000}, {"malformed": true},
  // {"drop": true}, {"redirect": 307, "location": "/x"}, {"encoding": "gzip"},
  // {"chunked": true}, plus "count": N (default 1) or "all": true.
  bool setFault(const boost::json::object& fault) const;
  // Forgets the recorded requests and clears any fault.
  bool reset() const;

  // Connections open at the service now, and the most open at once since
  // start or the last reset() (control calls' own connections included).
  struct Connections {
    int open = -1;
    int most = -1;
  };
  Connections connections() const;

  // The script's path in the source tree.
  static std::filesystem::path scriptPath();

 private:
  // Blocking call to a control endpoint; absent on transport failure.
  std::optional<std::string> call(const std::string& method, const std::string& path,
                                  const std::string& body) const;
  void start(const std::filesystem::path& resources, const std::filesystem::path& infoPlist,
             const Options& options);

  bool tls_ = false;
  int pid_ = -1;
  int port_ = 0;
  std::string failure_;
};

}  // namespace orbelin::test
