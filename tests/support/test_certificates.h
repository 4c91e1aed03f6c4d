#pragma once

#include <filesystem>
#include <string>

namespace orbelin::test {

// A private certificate authority and a server certificate it signed for
// 127.0.0.1 (and localhost), made with the openssl command line in a fresh
// temporary directory that goes away with the object. Nothing here is trusted
// by the system, so a client accepts the server only when told to trust ca().
//
//   TestCertificates certificates;
//   if (!certificates.ok()) FAIL() << certificates.failure();
//   SampleService::Options options;
//   options.tlsCertificate = certificates.serverCertificate();
//   options.tlsKey = certificates.serverKey();
class TestCertificates {
 public:
  TestCertificates();
  ~TestCertificates();
  TestCertificates(const TestCertificates&) = delete;
  TestCertificates& operator=(const TestCertificates&) = delete;

  bool ok() const { return failure_.empty(); }
  // The openssl step that failed; "" when everything was made.
  const std::string& failure() const { return failure_; }

  const std::filesystem::path& directory() const { return directory_; }
  std::filesystem::path ca() const { return directory_ / "ca.pem"; }
  std::filesystem::path serverCertificate() const { return directory_ / "server.pem"; }
  std::filesystem::path serverKey() const { return directory_ / "server.key"; }
  // "sha256//BASE64" of the server's public key, as curl's --pinnedpubkey.
  const std::string& serverPin() const { return serverPin_; }
  // The same form for another key (the CA's): a pin the server never matches.
  const std::string& otherPin() const { return otherPin_; }

 private:
  std::filesystem::path directory_;
  std::string failure_;
  std::string serverPin_;
  std::string otherPin_;
};

}  // namespace orbelin::test
