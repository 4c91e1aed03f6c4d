// orbelin-demo against a service as hospitals deploy it: HTTPS from a private
// certificate authority, compressed replies, a moved base path; and --verbose.
#include <gtest/gtest.h>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "support/test_certificates.h"
#include "support/test_support.h"

using namespace orbelin::test;
namespace fs = std::filesystem;

namespace {

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class DemoNetworkTest : public ::testing::Test {
 protected:
  DemoRun demo(const std::string& folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--documents", (scratch.path() / folder).string()});
    return runDemo(arguments);
  }
  TempDir scratch;
};

TEST_F(DemoNetworkTest, RecoveryThroughACompressingRedirectingServerOfAPrivateAuthority) {
  TestCertificates certificates;
  ASSERT_TRUE(certificates.ok()) << certificates.failure();
  SampleService::Options options;
  options.tlsCertificate = certificates.serverCertificate();
  options.tlsKey = certificates.serverKey();
  options.arguments = {"--compress", "--moved", "/v1", "--moved-status", "308"};
  SampleService service(sampleResourcesDir(), bundledInfoPlist(), options);
  ASSERT_TRUE(service.running()) << service.failure();
  const std::string base = service.baseUrl() + "/v1";

  DemoRun local = demo("local", {"recovery", "1"});
  ASSERT_EQ(local.exitCode, 0) << local.err;

  DemoRun untrusted = demo("untrusted", {"--base-url", base, "recovery", "1"});
  EXPECT_EQ(untrusted.exitCode, 1);
  EXPECT_TRUE(untrusted.out.empty());
  EXPECT_EQ(untrusted.err.rfind("error: ", 0), 0u) << untrusted.err;
  EXPECT_TRUE(contains(untrusted.err, "The certificate for this server is invalid"))
      << untrusted.err;
  EXPECT_TRUE(service.requests().empty());

  DemoRun remote = demo(
      "remote", {"--base-url", base, "--ca-file", certificates.ca().string(), "recovery", "1"});
  ASSERT_EQ(remote.exitCode, 0) << remote.err;
  EXPECT_TRUE(remote.err.empty()) << remote.err;
  EXPECT_EQ(remote.out, local.out);
  auto received = service.requests();
  ASSERT_FALSE(received.empty());
  std::size_t answered = 0;
  for (const auto& request : received) {
    if (request.path.rfind("/v1/", 0) == 0) continue;  // the redirects
    ++answered;
    EXPECT_EQ(request.path.rfind("/hospital/", 0), 0u) << request.path;
    EXPECT_TRUE(contains(request.header("Accept-Encoding"), "gzip"));
  }
  EXPECT_EQ(answered * 2, received.size()) << "each call was redirected once";

  DemoRun pinned = demo("pinned", {"--base-url", base, "--ca-file", certificates.ca().string(),
                                   "--pin", certificates.serverPin(), "recovery", "1"});
  EXPECT_EQ(pinned.exitCode, 0) << pinned.err;
  EXPECT_EQ(pinned.out, local.out);
  DemoRun wrongPin = demo("wrong", {"--base-url", base, "--ca-file", certificates.ca().string(),
                                    "--pin", certificates.otherPin(), "recovery", "1"});
  EXPECT_EQ(wrongPin.exitCode, 1);
  EXPECT_TRUE(contains(wrongPin.err, "The certificate for this server is invalid")) << wrongPin.err;
}

TEST_F(DemoNetworkTest, UnusableTLSSettingsFailBeforeAnyRequest) {
  DemoRun missing = demo("a", {"--ca-file", (scratch.path() / "none.pem").string(), "rest", "GET",
                               "hospital/patients/patient.1"});
  EXPECT_EQ(missing.exitCode, 1);
  EXPECT_TRUE(missing.out.empty());
  EXPECT_EQ(missing.err.rfind("error: ", 0), 0u) << missing.err;
  DemoRun badPin = demo("b", {"--pin", "sha256//not-a-key", "patients", "1"});
  EXPECT_EQ(badPin.exitCode, 1);
  EXPECT_EQ(badPin.err.rfind("error: ", 0), 0u) << badPin.err;
}

TEST_F(DemoNetworkTest, VerboseShowsTheLayersLinesOnStderrForEveryCommand) {
  DemoRun quiet = demo("quiet", {"recovery", "1"});
  DemoRun verbose = demo("verbose", {"--verbose", "recovery", "1"});
  ASSERT_EQ(verbose.exitCode, 0) << verbose.err;
  EXPECT_EQ(verbose.out, quiet.out) << "stdout is the same";
  EXPECT_TRUE(quiet.err.empty());
  EXPECT_TRUE(contains(verbose.err, "GET hospital/patients/patient.1\n")) << verbose.err;
  EXPECT_TRUE(contains(verbose.err, "GET hospital/staffMembers/staffMember.1\n"));

  DemoRun rest = demo("rest", {"--verbose", "rest", "GET", "/hospital/patients/patient.1"});
  EXPECT_EQ(rest.exitCode, 0) << rest.err;
  EXPECT_TRUE(contains(rest.err, "GET /hospital/patients/patient.1\n")) << rest.err;
  EXPECT_TRUE(contains(rest.out, "Eleanor")) << "a leading / reads the same local record";

  // A care-team member that is gone: its failure line shows up.
  const fs::path partial = scratch.path() / "partial";
  fs::create_directories(partial);
  fs::copy(sampleResourcesDir() / "hospital", partial / "hospital", fs::copy_options::recursive);
  fs::remove(partial / "hospital/staffMembers/staffMember.1.json");
  DemoRun failing =
      demo("failing", {"--verbose", "--resources", partial.string(), "recovery", "1"});
  EXPECT_EQ(failing.exitCode, 1);
  EXPECT_TRUE(contains(failing.err, "Request2.StaffMember error")) << failing.err;

  DemoRun patients = demo("patients", {"--verbose", "patients", "1"});
  EXPECT_EQ(patients.exitCode, 0);
  EXPECT_TRUE(contains(patients.err, "GET hospital/user/user.1.patients\n")) << patients.err;
}

}  // namespace
