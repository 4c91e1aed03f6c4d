#include "orbelin/stores2/information_booklets2_store.h"

#include "import_support.h"

namespace orbelin {

using model2::InformationBooklet2;

InformationBooklet2* InformationBooklets2Store::informationBookletFromJSON(std::string_view text) {
  return stores2_internal::importObject<InformationBooklet2>(
      ObjectType::InformationBooklet,
      [text](model2::NSManagedObjectEx& object) { object.setPropertiesFromJSONString(text); });
}

void InformationBooklets2Store::downloadInformationBooklets(model2::Patient2* forPatient,
                                                            BookletsHandler completionHandler) {
  stores2_internal::downloadAll<InformationBooklet2>(
      stores2_internal::memberIdentifiers(forPatient, "informationBooklets", "bookletId"),
      [](const std::string& id, RestHandler handler) {
        restAPI().getInformationBooklet(id, std::move(handler));
      },
      ObjectType::InformationBooklet,
      [](model2::NSManagedObjectEx& object, const std::string& text) {
        object.setPropertiesFromJSONString(text);
      },
      "Request2.InformatinBooklet error: ", std::move(completionHandler));
}

}  // namespace orbelin
