#include "support/test_certificates.h"

#include <stdio.h>
#include <stdlib.h>

#include <fstream>
#include <system_error>

namespace orbelin::test {
namespace {

// Runs one shell command; its output is kept only when asked for.
bool run(const std::string& command, std::string* output = nullptr) {
  FILE* pipe = ::popen((command + " 2>/dev/null").c_str(), "r");
  if (pipe == nullptr) return false;
  char buffer[512];
  std::string text;
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
  int status = ::pclose(pipe);
  if (output != nullptr) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    *output = text;
  }
  return status == 0;
}

std::string quoted(const std::filesystem::path& path) {
  std::string result = "'";
  for (char c : path.string()) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

// The pin of a private key's public half.
std::string pinOf(const std::filesystem::path& privateKey) {
  std::string base64;
  const std::string command = "openssl pkey -in " + quoted(privateKey) +
                              " -pubout -outform der | openssl dgst -sha256 -binary"
                              " | openssl base64 -A";
  if (!run(command, &base64) || base64.size() != 44) return std::string();
  return "sha256//" + base64;
}

}  // namespace

TestCertificates::TestCertificates() {
  std::string pattern = (std::filesystem::temp_directory_path() / "orbelin-tls-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) {
    failure_ = "cannot make a temporary directory";
    return;
  }
  directory_ = pattern;
  const std::string d = quoted(directory_);
  // EC keys: made in milliseconds, unlike RSA ones.
  const std::string key = "openssl ecparam -name prime256v1 -genkey -noout -out ";
  {
    std::ofstream extensions(directory_ / "server.ext");
    extensions << "basicConstraints=CA:FALSE\n"
                  "keyUsage=digitalSignature,keyEncipherment\n"
                  "extendedKeyUsage=serverAuth\n"
                  "subjectAltName=IP:127.0.0.1,DNS:localhost\n";
  }
  const std::pair<const char*, std::string> steps[] = {
      {"CA key", key + d + "/ca.key"},
      {"CA certificate", "openssl req -x509 -new -key " + d + "/ca.key -sha256 -days 2 -subj " +
                             "'/CN=Orbelin Test Hospital CA' -out " + d + "/ca.pem"},
      {"server key", key + d + "/server.key"},
      {"server request", "openssl req -new -key " + d + "/server.key -subj '/CN=127.0.0.1' -out " +
                             d + "/server.csr"},
      {"server certificate", "openssl x509 -req -in " + d + "/server.csr -CA " + d +
                                 "/ca.pem -CAkey " + d + "/ca.key -CAcreateserial -days 2" +
                                 " -sha256 -extfile " + d + "/server.ext -out " + d +
                                 "/server.pem"},
  };
  for (const auto& [what, command] : steps) {
    if (!run(command)) {
      failure_ = std::string("openssl could not make the ") + what;
      return;
    }
  }
  serverPin_ = pinOf(serverKey());
  otherPin_ = pinOf(directory_ / "ca.key");
  if (serverPin_.empty() || otherPin_.empty()) failure_ = "openssl could not compute the pins";
}

TestCertificates::~TestCertificates() {
  if (directory_.empty()) return;
  std::error_code error;
  std::filesystem::remove_all(directory_, error);
}

}  // namespace orbelin::test
