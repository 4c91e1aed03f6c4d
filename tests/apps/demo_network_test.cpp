// orbelin-demo against a service as hospitals deploy it: HTTPS from a private
// certificate authority, compressed replies, a moved base path; and --verbose.
#include <gtest/gtest.h>

#include "apps/demo_runner.h"
#include "support/sample_service.h"
#include "support/test_certificates.h"

using namespace orbelin::test;
namespace fs = std::filesystem;

namespace {

class DemoNetworkTest : public ::testing::Test {
 protected:
  DemoRun demo(const std::string& folder, std::vector<std::string> arguments) {
    return runDemoWith("--documents", scratch.path() / folder, std::move(arguments));
  }
  TempDir scratch;
};

// --ca-file and --pin reach the transport: through a compressing, redirecting
// server of a private authority the report equals the local one, and a wrong
// pin fails. (The transport's own TLS rules: networking_transport_test.)
TEST_F(DemoNetworkTest, RecoveryThroughACompressingRedirectingServerOfAPrivateAuthority) {
  TestCertificates certificates;
  ASSERT_TRUE(certificates.ok()) << certificates.failure();
  SampleService::Options options;
  options.tlsCertificate = certificates.serverCertificate();
  options.tlsKey = certificates.serverKey();
  options.arguments = {"--compress", "--moved", "/v1", "--moved-status", "308"};
  SampleService service(sampleResourcesDir(), bundledInfoPlist(), options);
  ASSERT_TRUE(service.running()) << service.failure();
  const Args remote = {"--base-url", service.baseUrl() + "/v1", "--ca-file",
                       certificates.ca().string()};
  DemoRun local = demo("local", {"recovery", "1"});
  ASSERT_EQ(local.exitCode, 0) << local.err;
  DemoRun trusted = demo("remote", remote + Args{"recovery", "1"});
  EXPECT_TRUE(trusted.err.empty()) << trusted.err;
  EXPECT_EQ(trusted.out, local.out);
  EXPECT_FALSE(service.requests().empty());

  DemoRun pinned =
      demo("pinned", remote + Args{"--pin", certificates.serverPin(), "recovery", "1"});
  EXPECT_EQ(pinned.out, local.out) << pinned.err;
  DemoRun wrongPin =
      demo("wrong", remote + Args{"--pin", certificates.otherPin(), "recovery", "1"});
  expectOneErrorLine(wrongPin);
  EXPECT_TRUE(contains(wrongPin.err, "The certificate for this server is invalid"));
}

// A CA file that is missing or a pin that is no key stops the demo at once.
TEST_F(DemoNetworkTest, UnusableTLSSettingsFailBeforeAnyRequest) {
  expectOneErrorLine(demo("a", {"--ca-file", (scratch.path() / "none.pem").string(), "rest", "GET",
                                "hospital/patients/patient.1"}));
  expectOneErrorLine(demo("b", {"--pin", "sha256//not-a-key", "patients", "1"}));
}

// --verbose shows the library's request and failure lines on stderr for each
// command, and leaves stdout as it was.
TEST_F(DemoNetworkTest, VerboseShowsTheLayersLinesOnStderrForEveryCommand) {
  DemoRun quiet = demo("quiet", {"recovery", "1"});
  DemoRun verbose = demo("verbose", {"--verbose", "recovery", "1"});
  EXPECT_EQ(verbose.out, quiet.out);
  EXPECT_TRUE(quiet.err.empty());
  expectInOrder(verbose.err,
                {"GET hospital/patients/patient.1\n", "GET hospital/staffMembers/staffMember.1\n"});

  DemoRun rest = demo("rest", {"--verbose", "rest", "GET", "/hospital/patients/patient.1"});
  EXPECT_TRUE(contains(rest.err, "GET /hospital/patients/patient.1\n")) << rest.err;
  EXPECT_TRUE(contains(rest.out, "Eleanor")) << "a leading / reads the same local record";
  DemoRun patients = demo("patients", {"--verbose", "patients", "1"});
  EXPECT_TRUE(contains(patients.err, "GET hospital/user/user.1.patients\n")) << patients.err;

  // A care-team member that is gone: its failure line shows up.
  const fs::path partial = scratch.path() / "partial";
  fs::create_directories(partial);
  fs::copy(sampleResourcesDir() / "hospital", partial / "hospital", fs::copy_options::recursive);
  fs::remove(partial / "hospital/staffMembers/staffMember.1.json");
  DemoRun failing =
      demo("failing", {"--verbose", "--resources", partial.string(), "recovery", "1"});
  EXPECT_EQ(failing.exitCode, 1);
  EXPECT_TRUE(contains(failing.err, "Request2.StaffMember error")) << failing.err;
}

}  // namespace
