// The client against real servers on 127.0.0.1: content encodings, redirects
// and TLS with a private certificate authority.
#include <curl/curl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "networking/networking_test_support.h"
#include "support/sample_service.h"
#include "support/test_certificates.h"

using namespace orbelin;
using namespace orbelin::test;
using namespace std::chrono_literals;
using TamberNetworking::DataSourceManager;
using TamberNetworking::Request;
using TamberNetworking::Response;
using TamberNetworking::URLRequest;
using ::testing::HasSubstr;

namespace {

struct TestCall : TamberNetworking::DataSourceRequest, TamberNetworking::RequestMatching {
  std::string path;
  std::string method = "GET";
  std::optional<std::string> body;

  URLRequest urlRequestWithBaseURLString(std::optional<std::string> base) const override {
    URLRequest request(base.value_or("") + path, method);
    request.body = body;
    return request;
  }
  Response responseForURLRequest(const URLRequest&) const override { return Response(); }
};

TestCall call(std::string path, std::string method = "GET",
              std::optional<std::string> body = std::nullopt) {
  TestCall value;
  value.path = std::move(path);
  value.method = std::move(method);
  value.body = std::move(body);
  return value;
}

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

class TransportTest : public ::testing::Test {
 protected:
  void SetUp() override {
    DataSourceManager::resetToDefaults();
    writeFile(resources.path() / "hospital/patients/patient.7.json", record);
    writeFile(resources.path() / "hospital/moved/here.json", R"({"here": true})");
  }
  void TearDown() override {
    platform::MainQueue::drain();
    DataSourceManager::resetToDefaults();
  }

  std::unique_ptr<SampleService> start(SampleService::Options options = {}) {
    auto service =
        std::make_unique<SampleService>(resources.path(), bundledInfoPlist(), std::move(options));
    EXPECT_TRUE(service->running()) << service->failure();
    return service;
  }
  std::unique_ptr<SampleService> startTLS(const TestCertificates& certificates,
                                          std::vector<std::string> arguments = {}) {
    SampleService::Options options;
    options.tlsCertificate = certificates.serverCertificate();
    options.tlsKey = certificates.serverKey();
    options.arguments = std::move(arguments);
    return start(std::move(options));
  }
  void use(const SampleService& service) {
    DataSourceManager::setBaseURLString(service.baseUrl());
    DataSourceManager::setLocalMode(false);
  }
  // Sends `value` (validated) and waits for its text.
  Outcome text(const TestCall& value) {
    Outcome outcome;
    DataSourceManager::request(value)->validate()->responseString(outcome.stringHandler());
    EXPECT_TRUE(outcome.wait());
    EXPECT_EQ(outcome.calls, 1);
    return outcome;
  }

  const std::string record = largeRecord();
  TempDir resources;
};

// --- content encodings -------------------------------------------------------

TEST_F(TransportTest, EveryDecodableEncodingIsOfferedAndDecodedChunkedOrWithALength) {
  auto service = start();
  use(*service);
  std::vector<std::string> offered = {"gzip", "deflate"};
  const curl_version_info_data* curl = curl_version_info(CURLVERSION_NOW);
  if (curl->features & CURL_VERSION_BROTLI) offered.push_back("br");
  if (curl->features & CURL_VERSION_ZSTD) offered.push_back("zstd");

  for (const char* encoding : {"gzip", "deflate", "identity"}) {
    for (bool chunked : {false, true}) {
      SCOPED_TRACE(std::string(encoding) + (chunked ? " chunked" : " with Content-Length"));
      ASSERT_TRUE(service->reset());
      ASSERT_TRUE(service->setFault({{"encoding", encoding}, {"chunked", chunked}}));
      Outcome outcome = text(call("/hospital/patients/patient.7"));
      EXPECT_FALSE(outcome.error) << outcome.error->description();
      EXPECT_EQ(outcome.text.value_or(""), record);
      auto received = service->requests();
      ASSERT_EQ(received.size(), 1u);
      for (const auto& name : offered)
        EXPECT_THAT(received[0].header("Accept-Encoding"), HasSubstr(name));
      if (std::string(encoding) == "gzip") {
        EXPECT_LT(received[0].replyBytes * 5, record.size());
      }
    }
  }
}

TEST_F(TransportTest, AHostsOwnAcceptEncodingChangesTheOfferButNotTheDecoding) {
  SampleService::Options options;
  options.arguments = {"--compress"};
  auto service = start(std::move(options));
  use(*service);
  DataSourceManager::setDefaultHeader("Accept-Encoding", "gzip");
  Outcome outcome = text(call("/hospital/patients/patient.7"));
  EXPECT_FALSE(outcome.error);
  EXPECT_EQ(outcome.text.value_or(""), record);
  auto received = service->requests();
  ASSERT_EQ(received.size(), 1u);
  EXPECT_EQ(received[0].header("Accept-Encoding"), "gzip");
  EXPECT_LT(received[0].replyBytes * 5, record.size()) << "the reply came compressed";

  Outcome json;
  DataSourceManager::request(call("/hospital/patients/patient.7"))
      ->validate()
      ->responseJSON(json.jsonHandler());
  ASSERT_TRUE(json.wait());
  EXPECT_FALSE(json.error);
  EXPECT_EQ(json.json["vitals"].arrayValue().size(), 200u);
}

TEST_F(TransportTest, AReplyThatCannotBeDecodedEndsAsCannotDecodeRawData) {
  auto service = start();
  use(*service);
  for (const char* encoding : {"x-unknown", "broken"}) {
    for (bool chunked : {false, true}) {
      SCOPED_TRACE(std::string(encoding) + (chunked ? " chunked" : ""));
      ASSERT_TRUE(service->setFault({{"encoding", encoding}, {"chunked", chunked}}));
      Outcome outcome = text(call("/hospital/patients/patient.7"));
      ASSERT_TRUE(outcome.error);
      EXPECT_EQ(outcome.error->domain(), error_domain::kURL);
      EXPECT_EQ(outcome.error->code(), Request::kCannotDecodeRawData);
      EXPECT_EQ(outcome.error->localizedDescription(), "cannot decode raw data");
      EXPECT_FALSE(outcome.text) << "undecoded bytes are never handed over as text";
    }
  }
  ASSERT_TRUE(service->setFault({{"encoding", "broken"}}));
  Outcome json;
  DataSourceManager::request(call("/hospital/patients/patient.7"))
      ->responseJSON(json.jsonHandler());
  ASSERT_TRUE(json.wait());
  ASSERT_TRUE(json.error);
  EXPECT_EQ(json.error->code(), Request::kCannotDecodeRawData);
}

// --- redirects ----------------------------------------------------------------

TEST_F(TransportTest, EveryRedirectIsFollowedKeepingOrChangingTheMethodAsHTTPSays) {
  auto service = start();
  use(*service);
  DataSourceManager::setDefaultHeader("Device-Model", "Ward tablet");
  struct Case {
    long status;
    std::string method;
    std::string expectedMethod;  // of the second hop
  };
  const std::vector<Case> cases = {
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
    Outcome outcome = text(call("/hospital/old/place", c.method, sent));
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
    if (c.expectedMethod == "GET") {
      EXPECT_EQ(received[1].body, "");
      EXPECT_EQ(outcome.text.value_or(""), R"({"here": true})");
    } else {
      EXPECT_EQ(received[1].body, *sent);
      EXPECT_EQ(outcome.text.value_or(""), *sent);
    }
  }
}

TEST_F(TransportTest, RedirectsStopAfterTenAndValidateJudgesTheLastReply) {
  auto service = start();
  use(*service);
  ASSERT_TRUE(
      service->setFault({{"redirect", 302}, {"location", "/hospital/loop"}, {"all", true}}));
  Outcome loop = text(call("/hospital/start"));
  ASSERT_TRUE(loop.error);
  EXPECT_EQ(loop.error->code(), Request::kHTTPTooManyRedirects);
  EXPECT_EQ(loop.error->localizedDescription(), "too many HTTP redirects");
  EXPECT_EQ(service->requests().size(), 1u + DataSourceManager::kMaximumRedirects);

  // Ten hops are still fine.
  ASSERT_TRUE(service->reset());
  ASSERT_TRUE(service->setFault({{"redirect", 307},
                                 {"location", "/hospital/moved/here"},
                                 {"count", DataSourceManager::kMaximumRedirects}}));
  Outcome ten = text(call("/hospital/start"));
  EXPECT_FALSE(ten.error);
  EXPECT_EQ(ten.text.value_or(""), R"({"here": true})");

  // A redirect to a missing record: validation sees the final 404 and URL.
  ASSERT_TRUE(service->reset());
  ASSERT_TRUE(service->setFault(
      {{"redirect", 301}, {"location", service->baseUrl() + "/hospital/patients/patient.404"}}));
  Outcome missing = text(call("/hospital/start"));
  ASSERT_TRUE(missing.error);
  EXPECT_EQ(missing.error->code(), Request::kStatusCodeValidationFailed);
  EXPECT_EQ(missing.error->userInfoValue(Error::kStatusCodeKey), "404");
  EXPECT_EQ(missing.error->userInfoValue(Error::kURLKey),
            service->baseUrl() + "/hospital/patients/patient.404");

  // Without a Location a 3xx is an ordinary reply, judged as such.
  ASSERT_TRUE(service->setFault({{"status", 301}}));
  Outcome bare = text(call("/hospital/start"));
  ASSERT_TRUE(bare.error);
  EXPECT_EQ(bare.error->code(), Request::kStatusCodeValidationFailed);
  EXPECT_EQ(bare.error->localizedDescription(), "Response status code was unacceptable: 301.");

  ASSERT_TRUE(service->setFault({{"redirect", 302}, {"location", "ftp://127.0.0.1/file"}}));
  Outcome ftp = text(call("/hospital/start"));
  ASSERT_TRUE(ftp.error);
  EXPECT_EQ(ftp.error->code(), Request::kUnsupportedURL);
}

// --- connections ------------------------------------------------------------

TEST_F(TransportTest, ABurstToOneHostSharesAFewConnectionsAndEveryRequestIsAnswered) {
  auto service = start();
  use(*service);
  ASSERT_TRUE(service->setFault({{"delay_ms", 150}, {"all", true}}));
  constexpr int kCount = 40;
  std::vector<Outcome> outcomes(kCount);
  for (auto& outcome : outcomes) {
    DataSourceManager::request(call("/hospital/patients/patient.7"))
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
  EXPECT_GE(counts.most, 2);
  EXPECT_LE(counts.most, DataSourceManager::kMaximumConnectionsPerHost + 1);
  EXPECT_EQ(service->requests().size(), static_cast<std::size_t>(kCount));
}

// --- TLS ------------------------------------------------------------------------

class TLSTest : public TransportTest {
 protected:
  void SetUp() override {
    TransportTest::SetUp();
    ASSERT_TRUE(certificates.ok()) << certificates.failure();
  }
  TestCertificates certificates;
};

TEST_F(TLSTest, APrivateAuthorityIsTrustedOnlyThroughTheSetting) {
  auto service = startTLS(certificates);
  use(*service);
  Outcome untrusted = text(call("/hospital/patients/patient.7"));
  ASSERT_TRUE(untrusted.error);
  EXPECT_EQ(untrusted.error->domain(), error_domain::kURL);
  EXPECT_EQ(untrusted.error->code(), Request::kServerCertificateUntrusted);
  EXPECT_THAT(untrusted.error->localizedDescription(),
              HasSubstr("The certificate for this server is invalid"));
  EXPECT_THAT(untrusted.error->localizedDescription(), HasSubstr("certificate"));
  EXPECT_FALSE(untrusted.error->userInfoValue(Error::kLocalizedFailureReasonKey).empty());
  EXPECT_TRUE(service->requests().empty()) << "nothing was sent to an untrusted server";

  EXPECT_FALSE(DataSourceManager::setCertificateAuthorities(resources.path() / "missing.pem"));
  EXPECT_FALSE(
      DataSourceManager::setCertificateAuthorities(certificates.directory() / "server.ext"))
      << "a file without a certificate is refused";
  EXPECT_FALSE(DataSourceManager::certificateAuthorities());

  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(certificates.ca()));
  EXPECT_EQ(DataSourceManager::certificateAuthorities(), certificates.ca());
  Outcome trusted = text(call("/hospital/patients/patient.7"));
  EXPECT_FALSE(trusted.error) << trusted.error->description();
  EXPECT_EQ(trusted.text.value_or(""), record);

  // A directory of PEM files works the same.
  TempDir folder;
  std::filesystem::copy_file(certificates.ca(), folder.path() / "hospital-ca.pem");
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(folder.path()));
  Outcome viaFolder = text(call("/hospital/patients/patient.7"));
  EXPECT_FALSE(viaFolder.error);

  // Back to the system's store alone: refused again.
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(std::nullopt));
  Outcome again = text(call("/hospital/patients/patient.7"));
  ASSERT_TRUE(again.error);
  EXPECT_EQ(again.error->code(), Request::kServerCertificateUntrusted);
}

TEST_F(TLSTest, APinnedKeyMustMatchTheServers) {
  auto service = startTLS(certificates);
  use(*service);
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(certificates.ca()));
  EXPECT_FALSE(DataSourceManager::setPinnedPublicKey("sha256//short"));
  EXPECT_FALSE(DataSourceManager::setPinnedPublicKey("md5//" + certificates.serverPin().substr(8)));
  EXPECT_FALSE(DataSourceManager::setPinnedPublicKey(""));
  EXPECT_FALSE(DataSourceManager::pinnedPublicKey());

  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.serverPin()));
  Outcome pinned = text(call("/hospital/patients/patient.7"));
  EXPECT_FALSE(pinned.error) << pinned.error->description();

  // The connection just used must not carry a request past a pin it fails.
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.otherPin()));
  Outcome wrong = text(call("/hospital/patients/patient.7"));
  ASSERT_TRUE(wrong.error);
  EXPECT_EQ(wrong.error->code(), Request::kServerCertificateUntrusted);
  EXPECT_THAT(wrong.error->localizedDescription(), HasSubstr("pinned"));

  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.otherPin() + ";" +
                                                    certificates.serverPin()));
  Outcome either = text(call("/hospital/patients/patient.7"));
  EXPECT_FALSE(either.error);
}

TEST_F(TLSTest, RedirectsMayGoUpToHttpsButNeverDownToHttp) {
  auto secure = startTLS(certificates);
  auto plain = start();
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(certificates.ca()));

  use(*plain);
  ASSERT_TRUE(plain->setFault(
      {{"redirect", 301}, {"location", secure->baseUrl() + "/hospital/moved/here"}}));
  Outcome up = text(call("/hospital/old/place"));
  EXPECT_FALSE(up.error) << up.error->description();
  EXPECT_EQ(up.text.value_or(""), R"({"here": true})");
  ASSERT_TRUE(up.response);
  EXPECT_EQ(up.response->url, secure->baseUrl() + "/hospital/moved/here");

  use(*secure);
  ASSERT_TRUE(plain->reset());
  ASSERT_TRUE(secure->setFault(
      {{"redirect", 307}, {"location", plain->baseUrl() + "/hospital/moved/here"}}));
  Outcome down = text(call("/hospital/old/place"));
  ASSERT_TRUE(down.error);
  EXPECT_EQ(down.error->code(), Request::kSecureConnectionRequired);
  EXPECT_TRUE(plain->requests().empty()) << "nothing went out in clear text";
}

TEST_F(TLSTest, CompressedRedirectedRepliesFromAPrivateAuthorityArriveWhole) {
  auto service = startTLS(certificates, {"--compress", "--moved", "/v1"});
  use(*service);
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(certificates.ca()));
  Outcome outcome = text(call("/v1/hospital/patients/patient.7"));
  EXPECT_FALSE(outcome.error) << outcome.error->description();
  EXPECT_EQ(outcome.text.value_or(""), record);
  auto received = service->requests();
  ASSERT_EQ(received.size(), 2u);
  EXPECT_EQ(received[1].path, "/hospital/patients/patient.7");
  EXPECT_LT(received[1].replyBytes * 5, record.size());
}

}  // namespace
