// orbelin-demo: runs the data layer on the bundled sample hospital (local mode)
// or against a service at --base-url, and prints what comes back.
#include <iostream>
#include <string_view>

#include "demo.h"
#include "orbelin/config/data_source_manager.h"
#include "orbelin/config/orbelin_framework.h"
#include "orbelin/networking/data_source_manager.h"
#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"

namespace orbelin::demo {
namespace {

std::filesystem::path bundledInfoPlist() {
  std::error_code error;
  const std::filesystem::path installed(ORBELIN_INSTALLED_INFO_PLIST);
  if (std::filesystem::is_regular_file(installed, error)) return installed;
  return ORBELIN_SOURCE_INFO_PLIST;
}

// Reads the options; absent (after printing usage) when they are wrong.
std::optional<DemoOptions> parseOptions(int argc, char** argv) {
  DemoOptions options;
  options.infoPlist = bundledInfoPlist();
  int index = 1;
  for (; index < argc; ++index) {
    std::string_view option = argv[index];
    if (option.rfind("--", 0) != 0) break;
    if (option == "--help") return std::nullopt;
    if (option == "--verbose") {
      options.verbose = true;
      continue;
    }
    if (index + 1 >= argc) return std::nullopt;
    std::string value = argv[++index];
    if (option == "--base-url") {
      options.baseUrl = value;
    } else if (option == "--info-plist") {
      options.infoPlist = value;
    } else if (option == "--resources") {
      options.resources = std::filesystem::path(value);
    } else if (option == "--documents") {
      options.documents = std::filesystem::path(value);
    } else if (option == "--user") {
      options.user = value;
    } else if (option == "--password") {
      options.password = value;
    } else if (option == "--ca-file") {
      options.caFile = std::filesystem::path(value);
    } else if (option == "--pin") {
      options.pin = value;
    } else {
      return std::nullopt;
    }
  }
  for (; index < argc; ++index) options.command.emplace_back(argv[index]);
  return options;
}

// Hands the options to the platform and the data layer, as a host does at launch.
bool configure(const DemoOptions& options) {
  if (options.verbose) {
    // Every command's layer lines, beside (not inside) what it prints on stdout.
    platform::Console::setSink([](std::string_view line) {
      std::cerr.write(line.data(), static_cast<std::streamsize>(line.size()));
      std::cerr << '\n' << std::flush;
    });
  }
  if (options.caFile && !DataSourceManager::setCertificateAuthorities(*options.caFile)) {
    std::cerr << "error: no PEM certificate could be read from " << options.caFile->string()
              << "\n";
    return false;
  }
  if (options.pin && !DataSourceManager::setPinnedPublicKey(*options.pin)) {
    std::cerr << "error: --pin takes sha256// and the base64 SHA-256 of a public key\n";
    return false;
  }
  if (auto loaded = platform::HostEnvironment::loadInfoPlist(options.infoPlist); !loaded) {
    std::cerr << "error: " << loaded.error().localizedDescription() << "\n";
    return false;
  }
  if (options.resources) DataSourceManager::setResourceRoot(*options.resources);
  if (options.documents) platform::HostEnvironment::setDocumentsDirectory(*options.documents);
  OrbelinFramework::settings().setup(options.localMode(), options.baseUrl.value_or(""));
  return true;
}

}  // namespace

void printUsage(std::ostream& out) {
  out << "usage: orbelin-demo [--base-url URL] [--info-plist FILE] [--resources DIR]\n"
         "                    [--documents DIR] [--user NAME] [--password TEXT]\n"
         "                    [--ca-file FILE] [--pin sha256//KEY] [--verbose]\n"
         "                    [COMMAND ...]\n"
         "       orbelin-demo request CASE [ARG ...]\n"
         "       orbelin-demo rest GET PATH | rest POST PATH JSON | rest PUT PATH JSON\n"
         "       orbelin-demo recovery [--stored] [--json] PATIENT_ID\n"
         "       orbelin-demo patients USER_ID\n"
         "       orbelin-demo watch task|patient|staff ID [--out FILE] | watch read FILE\n"
         "\n"
         "Without --base-url every request is answered from the local resources.\n"
         "--ca-file trusts the certificate authorities of a PEM file or directory\n"
         "beside the system's; --pin requires the server's public key to match;\n"
         "--verbose shows the data layer's console lines on stderr.\n"
         "Without a command it logs in (as nurse / orbelin unless --user and\n"
         "--password say otherwise) and prints the ward report.\n"
         "\n"
         "request cases: Authentication USER PASSWORD | Notifications USER_ID |\n"
         "  Patients USER_ID | UserTasks USER_ID | UserGroupTasks USER_ID |\n"
         "  UserBarriers USER_ID | Patient PATIENT_ID | PatientSummary PATIENT_ID |\n"
         "  PatientTasks PATIENT_ID | PatientsTasks [PATIENT_ID ...] | Staff SHIFT_ID |\n"
         "  Issues STAFF_ID | StaffForPatient PATIENT_ID | AllTasks |\n"
         "  TaskSummaryForUser USER_ID | PatientsAndTasksSummaryForUser USER_ID |\n"
         "  RoomsForShift SHIFT_ID\n";
}

}  // namespace orbelin::demo

int main(int argc, char** argv) {
  using namespace orbelin::demo;
  auto options = parseOptions(argc, argv);
  if (!options) {
    bool help = argc > 1 && std::string_view(argv[1]) == "--help";
    printUsage(help ? std::cout : std::cerr);
    return help ? kExitSuccess : kExitUsage;
  }
  const bool known = options->command.empty() || options->command[0] == "request" ||
                     options->command[0] == "rest" || options->command[0] == "recovery" ||
                     options->command[0] == "patients" || options->command[0] == "watch";
  if (!known) {
    std::cerr << "orbelin-demo: unknown command \"" << options->command[0] << "\"\n";
    printUsage(std::cerr);
    return kExitUsage;
  }
  if (!configure(*options)) return kExitFailure;
  if (options->command.empty()) return runReport(*options);
  if (options->command[0] == "rest") return runRest(*options);
  if (options->command[0] == "recovery") return runRecovery(*options);
  if (options->command[0] == "patients") return runPatients(*options);
  if (options->command[0] == "watch") return runWatch(*options);
  return runRequest(*options);
}
