#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include <boost/json/value.hpp>

namespace orbelin::demo {

// The command line of orbelin-demo:
//   orbelin-demo [--base-url URL] [--info-plist FILE] [--resources DIR]
//                [--documents DIR] [--user NAME] [--password TEXT]
//                [--ca-file FILE] [--pin sha256//KEY] [--verbose] [COMMAND ...]
// Without --base-url everything is answered locally from the resources.
struct DemoOptions {
  std::optional<std::string> baseUrl;
  std::filesystem::path infoPlist;                 // the bundled one unless given
  std::optional<std::filesystem::path> resources;  // the library's default unless given
  std::optional<std::filesystem::path> documents;
  // The report's login; the sample hospital's credentials unless given.
  std::string user = "nurse";
  std::string password = "orbelin";
  std::vector<std::string> command;  // empty: the report
  // TLS: certificate authorities trusted beside the system's, and a key pin.
  std::optional<std::filesystem::path> caFile;
  std::optional<std::string> pin;
  bool verbose = false;  // the layer's console lines on stderr

  bool localMode() const { return !baseUrl.has_value(); }
};

// Exit codes shared by every command.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitFailure = 1;  // a request or the set-up failed
inline constexpr int kExitUsage = 2;    // wrong command, case or argument count

void printUsage(std::ostream& out);

// `request CASE [ARG ...]`: runs one first-generation call and prints its reply.
int runRequest(const DemoOptions& options);
// No command: the ward report.
int runReport(const DemoOptions& options);
// `rest GET PATH | rest POST PATH JSON | rest PUT PATH JSON`: prints the reply text.
int runRest(const DemoOptions& options);
// `recovery [--stored] [--json] PATIENT_ID`: the recovery-path report.
int runRecovery(const DemoOptions& options);
// `patients USER_ID`: a user's patients, one line each.
int runPatients(const DemoOptions& options);
// `watch task|patient|staff ID [--out FILE]`, `watch read FILE`: watch archives.
int runWatch(const DemoOptions& options);

// Indented JSON text; numbers in their shortest round-trip form (never the
// exponent form for ordinary values like 71.5).
std::string prettyJSON(const boost::json::value& value);

}  // namespace orbelin::demo
