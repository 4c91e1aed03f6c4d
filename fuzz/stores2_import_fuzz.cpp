// Service replies become stored records here: one patient's text (as
// Patient2Store::downloadPatient imports it) and a user's {"patients": [...]}
// list (as downloadPatientsForUserId does). Whatever the bytes, the import
// must neither crash nor hang, and the store must stay usable.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include <unistd.h>

#include "orbelin/platform/console.h"
#include "orbelin/platform/host_environment.h"
#include "orbelin/stores2/object_store.h"
#include "orbelin/stores2/patient2_store.h"
#include "orbelin/text/json_text.h"

namespace {

// The store file lives in a fresh folder of this process.
void useScratchDocuments() {
  static const bool done = [] {
    auto folder = std::filesystem::temp_directory_path() /
                  ("orbelin-stores2-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(folder);
    orbelin::platform::HostEnvironment::setDocumentsDirectory(folder);
    // The store stays open until exit; on Linux its files can go before.
    static const std::filesystem::path removeAtExit = folder;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(removeAtExit, ignored);
    });
    return true;
  }();
  (void)done;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  useScratchDocuments();
  orbelin::platform::ConsoleCapture quiet;
  std::string_view text(reinterpret_cast<const char*>(data), size);
  if (orbelin::Patient2Store::patientFromJSON(text) == nullptr) std::abort();
  if (auto reply = orbelin::text::json(text)) {
    if (const auto* list = reply->if_contains("patients"); list && list->is_array()) {
      for (const auto& element : list->get_array()) {
        if (element.is_object())
          orbelin::Patient2Store::patientFromDictionary(element.get_object());
      }
    }
  }
  // Whatever was imported, the main context still answers.
  if (!orbelin::hospitalStore().fetchObjectsWithName("Patient")) std::abort();
  return 0;
}
