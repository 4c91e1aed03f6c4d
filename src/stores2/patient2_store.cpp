#include "orbelin/stores2/patient2_store.h"

#include "import_support.h"
#include "orbelin/rest/rest_api_util.h"
#include "orbelin/text/json_text.h"

namespace orbelin {

using model2::Patient2;
using stores2_internal::importObject;

Patient2* Patient2Store::patientFromJSON(std::string_view text) {
  return importObject<Patient2>(ObjectType::Patient, [text](model2::NSManagedObjectEx& object) {
    object.setPropertiesFromJSONString(text);
  });
}

Patient2* Patient2Store::patientFromDictionary(const model2::Dictionary& dictionary) {
  return importObject<Patient2>(ObjectType::Patient,
                                [&dictionary](model2::NSManagedObjectEx& object) {
                                  object.setPropertiesFromDictionary(dictionary);
                                });
}

void Patient2Store::downloadPatient(const std::string& patientId,
                                    PatientHandler completionHandler) {
  restAPI().getPatient(
      patientId, [completionHandler = std::move(completionHandler)](
                     auto, auto, std::optional<std::string> text, std::optional<Error> error) {
        if (error) {
          platform::Console::log("Request2.Patient error: " + error->localizedDescription());
          completionHandler(nullptr, std::move(error));
        } else if (text) {
          completionHandler(patientFromJSON(*text), std::nullopt);
        } else {
          completionHandler(nullptr, std::nullopt);
        }
      });
}

void Patient2Store::patient(const std::string& patientId, PatientHandler completionHandler) {
  auto found = hospitalStore().fetchObjectsWithName(
      rawValue(ObjectType::Patient), graph::Predicate::equal("patientId", patientId));
  // Saved objects come in insertion order: the last match is the latest download.
  Patient2* latest = nullptr;
  if (found) {
    for (auto it = found->rbegin(); it != found->rend() && latest == nullptr; ++it)
      latest = dynamic_cast<Patient2*>(*it);
  }
  if (latest == nullptr) {
    completionHandler(nullptr, Error("OrbelinData", -1, std::map<std::string, std::string>{}));
    return;
  }
  completionHandler(latest, std::nullopt);
}

void Patient2Store::downloadPatientsForUserId(const std::string& userId,
                                              PatientsHandler completionHandler) {
  const std::string path = "hospital/user/user." + userId + ".patients";
  RestApiUtil::GET(
      path, [completionHandler = std::move(completionHandler)](
                auto, auto, std::optional<std::string> text, std::optional<Error> error) {
        if (error) {
          completionHandler(std::nullopt, std::move(error));
          return;
        }
        std::vector<Patient2*> patients;
        std::optional<boost::json::object> reply = text ? text::json(*text) : std::nullopt;
        const boost::json::value* list = reply ? reply->if_contains("patients") : nullptr;
        if (list != nullptr && list->is_array()) {
          for (const auto& element : list->get_array()) {
            if (!element.is_object()) continue;
            if (Patient2* patient = patientFromDictionary(element.get_object()))
              patients.push_back(patient);
          }
        }
        completionHandler(std::move(patients), std::nullopt);
      });
}

}  // namespace orbelin
