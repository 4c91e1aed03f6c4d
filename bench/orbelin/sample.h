#pragma once

// The bundled sample hospital, as the download rows read it locally or
// through the sample service.

#include <filesystem>
#include <functional>
#include <string>

namespace orbelin::bench {

std::filesystem::path sampleResources();  // resources/sample of the source tree
std::filesystem::path infoPlist();        // resources/Info.plist

std::string readFile(const std::filesystem::path& path);

// The id of the largest hospital/patients/patient.<id>.json and its text.
struct SamplePatient {
  std::string id;
  std::string text;
};
SamplePatient largestSamplePatient();

// Drains the main queue until `done` holds; aborts after `seconds`, since a
// figure without its work is no figure.
void waitOnMainQueue(const std::function<bool()>& done, int seconds = 30);

// A fresh documents folder for the process-wide hospital store, set before
// its first use.
void useDocuments(const std::filesystem::path& folder);

// Local mode over the bundled sample hospital, with the hospital model and
// a fresh documents folder: the patient the download rows fetch.
SamplePatient useLocalSample(const std::filesystem::path& documents);

// One Patient2Store::downloadPatient, waited for on the main queue; aborts
// when it brings no patient.
void downloadPatient(const std::string& patientId);

}  // namespace orbelin::bench
