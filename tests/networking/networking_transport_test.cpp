// The client against real servers on 127.0.0.1: content encodings, redirects
// and TLS with a private certificate authority.
#include <thread>

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
  std::string vitals;
  for (int i = 0; i < 200; ++i) {
    vitals += R"({"name": "Heart rate", "value": )" + std::to_string(60 + i % 40) + "}, ";
  }
  return R"({"id": "7", "vitals": [)" + vitals + "{}]}";
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

// Every encoding offered is decoded, with or without a length; one that is
// not is refused rather than handed over. A host's own Accept-Encoding changes
// the offer but not the decoding.
TEST_F(TransportTest, EncodingsAreOfferedAndDecodedOrTheReplyIsRefused) {
  SampleService& server = remote();
  const std::pair<std::string, bool> encodings[] = {{"gzip", true},
                                                    {"deflate", true},
                                                    {"identity", true},
                                                    {"x-unknown", false},
                                                    {"broken", false}};
  for (bool hostOffer : {false, true}) {
    if (hostOffer) DataSourceManager::setDefaultHeader("Accept-Encoding", "gzip");
    for (const auto& [encoding, decodable] : encodings) {
      for (bool chunked : {false, true}) {
        SCOPED_TRACE(encoding + (chunked ? " chunked" : "") + (hostOffer ? " host offer" : ""));
        ASSERT_TRUE(server.reset());
        ASSERT_TRUE(server.setFault({{"encoding", encoding}, {"chunked", chunked}}));
        Outcome outcome = fetch(pathCall(kPatient));
        if (decodable) {
          EXPECT_FALSE(outcome.error) << outcome.error->description();
          EXPECT_EQ(outcome.text.value_or(""), record);
        } else {
          EXPECT_EQ(outcome.errorCode(), Request::kCannotDecodeRawData);
          EXPECT_FALSE(outcome.text) << "undecoded bytes are never handed over as text";
        }
        auto received = server.requests();
        ASSERT_EQ(received.size(), 1u);
        const std::string offer = received[0].header("Accept-Encoding");
        EXPECT_THAT(offer, HasSubstr(hostOffer ? "gzip" : "deflate"));
        EXPECT_EQ(offer == "gzip", hostOffer) << offer;
        if (encoding == "gzip") {
          EXPECT_LT(received[0].replyBytes * 5, record.size());
        }
      }
    }
  }
}

// Redirects change the method only where HTTP says so, keep the headers and
// body, hand back the request first sent, and stop after ten hops.
TEST_F(TransportTest, RedirectsAreFollowedUpToTenAsHTTPSays) {
  SampleService& server = remote();
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
    ASSERT_TRUE(server.reset());
    ASSERT_TRUE(server.setFault({{"redirect", c.status}, {"location", "/hospital/moved/here"}}));
    std::optional<std::string> sent;
    if (c.method != "GET") sent = body;
    Outcome outcome = fetch(pathCall("/hospital/old/place", c.method, sent));
    ASSERT_FALSE(outcome.error) << outcome.error->description();
    ASSERT_TRUE(outcome.response);
    EXPECT_EQ(outcome.response->url, server.baseUrl() + "/hospital/moved/here");
    ASSERT_TRUE(outcome.request);
    EXPECT_EQ(outcome.request->url, server.baseUrl() + "/hospital/old/place")
        << "the request handed back is the one first sent";
    auto received = server.requests();
    ASSERT_EQ(received.size(), 2u);
    EXPECT_EQ(received[0].method, c.method);
    EXPECT_EQ(received[1].method, c.expectedMethod);
    EXPECT_EQ(received[1].header("Device-Model"), "Ward tablet");
    const bool asGet = c.expectedMethod == "GET";
    EXPECT_EQ(received[1].body, asGet ? "" : *sent);
    EXPECT_EQ(outcome.text.value_or(""), asGet ? kMoved : *sent);
  }

  // Eleven hops are too many; ten are still fine.
  ASSERT_TRUE(server.reset());
  ASSERT_TRUE(server.setFault({{"redirect", 302}, {"location", "/hospital/loop"}, {"all", true}}));
  EXPECT_EQ(fetch(pathCall("/hospital/start")).errorCode(), Request::kHTTPTooManyRedirects);
  EXPECT_EQ(server.requests().size(), 1u + DataSourceManager::kMaximumRedirects);
  ASSERT_TRUE(server.setFault({{"redirect", 307},
                               {"location", "/hospital/moved/here"},
                               {"count", DataSourceManager::kMaximumRedirects}}));
  EXPECT_EQ(fetch(pathCall("/hospital/start")).text.value_or(""), kMoved);

  // A redirect to a missing record: validation sees the final 404 and URL.
  const std::string missing = server.baseUrl() + "/hospital/patients/patient.404";
  ASSERT_TRUE(server.setFault({{"redirect", 301}, {"location", missing}}));
  Outcome gone = fetch(pathCall("/hospital/start"));
  ASSERT_TRUE(gone.error);
  EXPECT_EQ(gone.error->userInfoValue(Error::kStatusCodeKey), "404");
  EXPECT_EQ(gone.error->userInfoValue(Error::kURLKey), missing);

  // Without a Location a 3xx is an ordinary reply, judged as such.
  ASSERT_TRUE(server.setFault({{"status", 301}}));
  Outcome bare = fetch(pathCall("/hospital/start"));
  ASSERT_TRUE(bare.error);
  EXPECT_EQ(bare.error->userInfoValue(Error::kStatusCodeKey), "301");

  ASSERT_TRUE(server.setFault({{"redirect", 302}, {"location", "ftp://127.0.0.1/file"}}));
  EXPECT_EQ(fetch(pathCall("/hospital/start")).errorCode(), Request::kUnsupportedURL);
}

// Requests started on several threads at once run side by side over a
// bounded number of connections, and each is answered exactly once, on the
// main queue.
TEST_F(TransportTest, ABurstFromManyThreadsSharesAFewConnectionsAndEachIsAnsweredOnce) {
  SampleService& server = remote();
  ASSERT_TRUE(server.setFault({{"delay_ms", 150}, {"all", true}}));
  constexpr int kThreads = 4, kEach = 10;
  std::vector<Outcome> outcomes(kThreads * kEach);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        DataSourceManager::request(pathCall(kPatient))
            ->validate()
            ->responseString(outcomes[t * kEach + i].stringHandler());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(runMainQueueUntil(
      [&] {
        return std::all_of(outcomes.begin(), outcomes.end(), [](auto& o) { return o.calls > 0; });
      },
      60s));
  platform::MainQueue::runFor(50ms);
  for (auto& outcome : outcomes) {
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_TRUE(outcome.onMainThread);
    EXPECT_FALSE(outcome.error);
    EXPECT_EQ(outcome.text.value_or(""), record);
  }
  auto counts = server.connections();
  // The library's six, and at most the control call that set the fault,
  // which may not have been closed yet when the first ones opened.
  EXPECT_GE(counts.most, 3);
  EXPECT_LE(counts.most, DataSourceManager::kMaximumConnectionsPerHost + 1);
  EXPECT_EQ(server.requests().size(), outcomes.size());
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
  auto tls = start(std::move(options));
  use(*tls);
  const PathCall moved = pathCall(std::string("/v1") + kPatient);
  Outcome untrusted = fetch(moved);
  EXPECT_EQ(untrusted.errorCode(), Request::kServerCertificateUntrusted);
  EXPECT_TRUE(tls->requests().empty()) << "nothing was sent to an untrusted server";

  EXPECT_FALSE(DataSourceManager::setCertificateAuthorities(resources.path() / "missing.pem"));
  EXPECT_FALSE(
      DataSourceManager::setCertificateAuthorities(certificates.directory() / "server.ext"))
      << "a file without a certificate is refused";
  EXPECT_FALSE(DataSourceManager::certificateAuthorities());

  // Trusted, a compressed reply behind a redirect arrives whole.
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(certificates.ca()));
  Outcome trusted = fetch(moved);
  EXPECT_FALSE(trusted.error) << trusted.error->description();
  EXPECT_EQ(trusted.text.value_or(""), record);
  auto received = tls->requests();
  ASSERT_EQ(received.size(), 2u);
  EXPECT_LT(received[1].replyBytes * 5, record.size());

  for (const std::string& malformed :
       {std::string("sha256//short"), "md5//" + certificates.serverPin().substr(8), std::string()})
    EXPECT_FALSE(DataSourceManager::setPinnedPublicKey(malformed)) << malformed;
  EXPECT_FALSE(DataSourceManager::pinnedPublicKey());
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.serverPin()));
  Outcome pinned = fetch(pathCall(kPatient));
  EXPECT_FALSE(pinned.error);
  // The connection just used must not carry a request past a pin it fails.
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.otherPin()));
  Outcome wrong = fetch(pathCall(kPatient));
  EXPECT_EQ(wrong.errorCode(), Request::kServerCertificateUntrusted);
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(certificates.otherPin() + ";" +
                                                    certificates.serverPin()));
  EXPECT_FALSE(fetch(pathCall(kPatient)).error);
  ASSERT_TRUE(DataSourceManager::setPinnedPublicKey(std::nullopt));

  // Redirects may go up to https, but never down to http.
  SampleService& plain = remote();
  ASSERT_TRUE(
      plain.setFault({{"redirect", 301}, {"location", tls->baseUrl() + "/hospital/moved/here"}}));
  Outcome up = fetch(pathCall("/hospital/old/place"));
  EXPECT_FALSE(up.error);
  EXPECT_EQ(up.text.value_or(""), kMoved);

  use(*tls);
  ASSERT_TRUE(plain.reset());
  ASSERT_TRUE(
      tls->setFault({{"redirect", 307}, {"location", plain.baseUrl() + "/hospital/moved/here"}}));
  Outcome down = fetch(pathCall("/hospital/old/place"));
  EXPECT_EQ(down.errorCode(), Request::kSecureConnectionRequired);
  EXPECT_TRUE(plain.requests().empty()) << "nothing went out in clear text";

  // A directory of PEM files works the same; without it, refused again.
  TempDir folder;
  std::filesystem::copy_file(certificates.ca(), folder.path() / "hospital-ca.pem");
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(folder.path()));
  EXPECT_FALSE(fetch(pathCall(kPatient)).error);
  ASSERT_TRUE(DataSourceManager::setCertificateAuthorities(std::nullopt));
  Outcome again = fetch(pathCall(kPatient));
  EXPECT_EQ(again.errorCode(), Request::kServerCertificateUntrusted);
}

}  // namespace
