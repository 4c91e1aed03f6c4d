// The client against real servers on 127.0.0.1: content encodings, redirects
// and TLS with a private certificate authority.
#include <curl/curl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "networking/client_test.h"
#include "support/test_certificates.h"

using namespace orbelin;
using namespace orbelin::test;
using namespace std::chrono_literals;
using TamberNetworking::Request;
using ::testing::HasSubstr;

namespace {

constexpr const char* kPatient = "/hospital/patients/patient.7";
constexpr const char* kMoved = R"({"here": true})";

// A record long and repetitive enough that compression shows.
std::string largeRecord() {
  std::string text = R"({"id": "7", "vitals": [)";
  for (int i = 0; i < 200; ++i) {
    if (i > 0) text += ", ";
    text +=
        R"({"name": "Heart rate", "value": )" + std::to_string(60 + i % 40) + R"(, "unit": "bpm"})";
  }
  return text + "]}";
}

class TransportTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    writeFile(resources.path() / "hospital/patients/patient.7.json", record);
    writeFile(resources.path() / "hospital/moved/here.json", kMoved);
  }
  // Sends `call` validated and waits for its text.
  static Outcome fetch(const PathCall& call) { return text(call, kValidated); }

  const std::string record = largeRecord();
};

TEST_F(TransportTest, EncodingsAreOfferedAndDecodedOrTheReplyIsRefused) {
  auto service = start();
  use(*service);
  std::vector<std::string> offered = {"gzip", "deflate"};
  const curl_version_info_data* curl = curl_version_info(CURLVERSION_NOW);
  if (curl->features & CURL_VERSION_BROTLI) offered.push_back("br");
  if (curl->features & CURL_VERSION_ZSTD) offered.push_back("zstd");

  const std::pair<std::string, bool> encodings[] = {{"gzip", true},
                                                    {"deflate", true},
                                                    {"identity", true},
                                                    {"x-unknown", false},
                                                    {"broken", false}};
  for (const auto& [encoding, decodable] : encodings) {
    for (bool chunked : {false, true}) {
      SCOPED_TRACE(encoding + (chunked ? " chunked" : " with Content-Length"));
      ASSERT_TRUE(service->reset());
      ASSERT_TRUE(service->setFault({{"encoding", encoding}, {"chunked", chunked}}));
      Outcome outcome = fetch(pathCall(kPatient));
      if (decodable) {
        EXPECT_FALSE(outcome.error) << outcome.error->description();
        EXPECT_EQ(outcome.text.value_or(""), record);
      } else {
        ASSERT_TRUE(outcome.error);
        EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
        EXPECT_EQ(outcome.error->code(), Request::kCannotDecodeRawData);
        EXPECT_EQ(outcome.error->localizedDescription(), "cannot decode raw data");
        EXPECT_FALSE(outcome.text) << "undecoded bytes are never handed over as text";
      }
      auto received = service->requests();
      ASSERT_EQ(received.size(), 1u);
      for (const auto& name : offered)
        EXPECT_THAT(received[0].header("Accept-Encoding"), HasSubstr(name));
      if (encoding == "gzip") {
        EXPECT_LT(received[0].replyBytes * 5, record.size());
      }
    }
  }

  // A host's own Accept-Encoding changes the offer but not the decoding.
  ASSERT_TRUE(service->reset());
  ASSERT_TRUE(service->setFault({{"encoding", "gzip"}}));
  DataSourceManager::setDefaultHeader("Accept-Encoding", "gzip");
  Outcome outcome = fetch(pathCall(kPatient));
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.text.value_or(""), record);
  auto received = service->requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].header("Accept-Encoding"), "gzip");
  EXPECT_LT(received[0].replyBytes * 5, record.size()) << "the reply came compressed";
}

TEST_F(TransportTest, RedirectsAreFollowedUpToTenAsHTTPSays) {
  auto service = start();
  use(*service);
  DataSourceManager::setDefaultHeader("Device-Model", "Ward tablet");
  struct Case {
    long status;
    std::string method;
    std::string expectedMethod;  // of the second hop
  };
  const Case cases[] = {
      {301, "POST", "GET"},  {302, "POST", "GET"}, {303, "POST", "GET"}, {307, "POST", "POST"},
      {308, "POST", "POST"}, {301, "PUT", "PUT"},  {303, "PUT", "GET"},  {307, "PUT", "PUT"},
      {301, "GET", "GET"},   {308, "GET", "GET"},
  };
  const std::string body = R"({"here": "posted"})";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.method + " " + std::to_string(c.status));
    ASSERT_TRUE(service->reset());
    ASSERT_TRUE(service->setFault({{"redirect", c.status}, {"location", "/hospital/moved/here"}}));
    std::optional<std::string> sent;
    if (c.method != "GET") sent = body;
    Outcome outcome = fetch(pathCall("/hospital/old/place", c.method, sent));
    ASSERT_FALSE(outcome.error) << outcome.error->description();
    ASSERT_TRUE(outcome.response);
    EXPECT_EQ(outcome.response->statusCode, 200);
    EXPECT_EQ(outcome.response->url, service->baseUrl() + "/hospital/moved/here");
    ASSERT_TRUE(outcome.request);
    EXPECT_EQ(outcome.request->url, service->baseUrl() + "/hospital/old/place")
        << "the request handed back is the one first sent";
    auto received = service->requests();
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].method, c.method);
    EXPECT_EQ(received[1].method, c.expectedMethod);
    EXPECT_EQ(received[1].path, "/hospital/moved/here");
    EXPECT_EQ(received[1].header("Device-Model"), "Ward tablet");
    const bool asGet = c.expectedMethod == "GET";
    EXPECT_EQ(received[1].body, asGet ? "" : *sent);
    EXPECT_EQ(outcome.text.value_or(""), asGet ? kMoved : *sent);
  }

  // Eleven hops are too many; ten are still fine.
  ASSERT_TRUE(service->reset());
  ASSERT_TRUE(
      service->setFault({{"redirect", 302}, {"location", "/hospital/loop"}, {"all", true}}));
  Outcome loop = fetch(pathCall("/hospital/start"));
  ASSERT_TRUE(loop.error);
  EXPECT_EQ(loop.error->code(), Request::kHTTPTooManyRedirects);
  EXPECT_EQ(loop.error->localizedDescription(), "too many HTTP redirects");
  EXPECT_EQ(service->requests().size(), 1u + DataSourceManager::kMaximumRedirects);
  ASSERT_TRUE(service->reset());
  ASSERT_TRUE(service->setFault({{"redirect", 307},
                                 {"location", "/hospital/moved/here"},
                                 {"count", DataSourceManager::kMaximumRedirects}}));
  Outcome ten = fetch(pathCall("/hospital/start"));
  EXPECT_FALSE(ten.error);
  EXPECT_EQ(ten.text.value_or(""), kMoved);

  // A redirect to a missing record: validation sees the final 404 and URL.
  const std::string missing = service->baseUrl() + "/hospital/patients/patient.404";
  ASSERT_TRUE(service->setFault({{"redirect", 301}, {"location", missing}}));
  Outcome gone = fetch(pathCall("/hospital/start"));
  ASSERT_TRUE(gone.error);
  EXPECT_EQ(gone.error->code(), Request::kStatusCodeValidationFailed);
  EXPECT_EQ(gone.error->userInfoValue(Error::kStatusCodeKey), "404");
  EXPECT_EQ(gone.error->userInfoValue(Error::kURLKey), missing);

  // Without a Location a 3xx is an ordinary reply, judged as such.
  ASSERT_TRUE(service->setFault({{"status", 301}}));
  Outcome bare = fetch(pathCall("/hospital/start"));
  ASSERT_TRUE(bare.error);
  EXPECT_EQ(bare.error->code(), Request::kStatusCodeValidationFailed);
  EXPECT_EQ(bare.error->localizedDescription(), "Response status code was unacceptable: 301.");

  ASSERT_TRUE(service->setFault({{"redirect", 302}, {"location", "ftp://127.0.0.1/file"}}));
  Outcome ftp = fetch(pathCall("/hospital/start"));
  ASSERT_TRUE(ftp.error);
  EXPECT_EQ(ftp.error->code(), Request::kUnsupportedURL);
}

// Requests run side by side, over a bounded number of connections.
TEST_F(TransportTest, ABurstToOneHostSharesAFewConnectionsAndEveryRequestIsAnswered) {
  auto service = start();
  use(*service);
  ASSERT_TRUE(service->setFault({{"delay_ms", 150}, {"all", true}}));
  constexpr int kCount = 40;
  std::vector<Outcome> outcomes(kCount);
  for (auto& outcome : outcomes) {
    DataSourceManager::request(pathCall(kPatient))
        ->validate()
        ->responseString(outcome.stringHandler());
  }
  ASSERT_TRUE(runMainQueueUntil(
      [&] {
        return std::all_of(outcomes.begin(), outcomes.end(), [](auto& o) { return o.calls > 0; });
      },
      60s));
  for (auto& outcome : outcomes) {
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.text.value_or(""), record);
  }
  auto counts = service->connections();
  // The library's six, and at most the control call that set the fault,
  // which may not have been closed yet when the first ones opened.
  EXPECT_GE(counts.most, 3);
  EXPECT_LE(counts.most, DataSourceManager::kMaximumConnectionsPerHost + 1);
  EXPECT_EQ(service->requests().size(), static_cast<std::size_t>(kCount));
}

// A private authority is trusted only through the setting, a pinned key must
// match the server's, and nothing goes out in clear text after https.
TEST_F(TransportTest, TLSTrustsOnlyThroughTheSettingChecksPinsAndNeverRedirectsToHttp) {
  TestCertificates certificates;
  ASSERT_TRUE(certificates.ok()) << certificates.failure();
  SampleService::Options options;
  options.tlsCertificate = certificates.serverCertificate();
  options.tlsKey = certificates.serverKey();
  options.arguments = {"--compress", "--moved", "/v1"};
  auto service = start(std::move(options));
  use(*service);
  const PathCall moved = pathCall(std::string("/v1") + kPatient);
  Outcome untrusted = fetch(moved);
  ASSERT_TRUE(untrusted.error);
  EXPECT_EQ(untrusted.error->domain(), error_domain::kURL);
  EXPECT_EQ(untrusted.error->code(), Request::kServerCertificateUntrusted);
  EXPECT_THAT(untrusted.error->localizedDescription(),
              HasSubstr("The certificate for this server is invalid"));
  EXPECT_FALSE(untrusted.error->userInfoValue(Error::kLocalizedFailureReasonKey).empty());
  EXPECT_TRUE(service->requests().empty()) << "nothing was sent to an untrusted server";

  EXPECT_FALSE(DataSourceManager::setCertificateAuthorities(resources.path() / "missing.pem"));
  EXPECT_FALSE(
      DataSourceManager::setCertificateAuthorities(certificates.directory() / "server.ext"))
      << "a file without a certificate is refused";
  EXPECT_FALSE(DataSourceManager::certificateAuthorities());

  // Trusted, a compressed reply behind a redirect arrives whole.
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(certificates.ca()));
  EXPECT_EQ(DataSourceManager::certificateAuthorities(), certificates.ca());
  Outcome trusted = fetch(moved);
  EXPECT_FALSE(trusted.error) << trusted.error->description();
  EXPECT_EQ(trusted.text.value_or(""), record);
  auto received = service->requests();
  ASSERT_EQ(received.size(), 2u);
  EXPECT_EQ(received[1].path, kPatient);
  EXPECT_LT(received[1].replyBytes * 5, record.size());

  for (const std::string& malformed :
       {std::string("sha256//short"), "md5//" + certificates.serverPin().substr(8), std::string()})
    EXPECT_FALSE(DataSourceManager::setPinnedPublicKey(malformed)) << malformed;
  EXPECT_FALSE(DataSourceManager::pinnedPublicKey());
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.serverPin()));
  Outcome pinned = fetch(pathCall(kPatient));
  EXPECT_FALSE(pinned.error) << pinned.error->description();
  // The connection just used must not carry a request past a pin it fails.
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.otherPin()));
  Outcome wrong = fetch(pathCall(kPatient));
  ASSERT_TRUE(wrong.error);
  EXPECT_EQ(wrong.error->code(), Request::kServerCertificateUntrusted);
  EXPECT_THAT(wrong.error->localizedDescription(), HasSubstr("pinned"));
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.otherPin() + ";" +
                                                    certificates.serverPin()));
  EXPECT_FALSE(fetch(pathCall(kPatient)).error);
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(std::nullopt));

  // Redirects may go up to https, but never down to http.
  auto plain = start();
  use(*plain);
  ASSERT_TRUE(plain->setFault(
      {{"redirect", 301}, {"location", service->baseUrl() + "/hospital/moved/here"}}));
  Outcome up = fetch(pathCall("/hospital/old/place"));
  EXPECT_FALSE(up.error) << up.error->description();
  EXPECT_EQ(up.text.value_or(""), kMoved);
  ASSERT_TRUE(up.response);
  EXPECT_EQ(up.response->url, service->baseUrl() + "/hospital/moved/here");

  use(*service);
  ASSERT_TRUE(plain->reset());
  ASSERT_TRUE(service->setFault(
      {{"redirect", 307}, {"location", plain->baseUrl() + "/hospital/moved/here"}}));
  Outcome down = fetch(pathCall("/hospital/old/place"));
  ASSERT_TRUE(down.error);
  EXPECT_EQ(down.error->code(), Request::kSecureConnectionRequired);
  EXPECT_TRUE(plain->requests().empty()) << "nothing went out in clear text";

  // A directory of PEM files works the same; without it, refused again.
  TempDir folder;
  std::filesystem::copy_file(certificates.ca(), folder.path() / "hospital-ca.pem");
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(folder.path()));
  EXPECT_FALSE(fetch(pathCall(kPatient)).error);
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(std::nullopt));
  Outcome again = fetch(pathCall(kPatient));
  ASSERT_TRUE(again.error);
  EXPECT_EQ(again.error->code(), Request::kServerCertificateUntrusted);
}

}  // namespace
