#pragma once

#include <functional>
#include <optional>
#include <string_view>
#include <vector>

#include "orbelin/model2/entities.h"
#include "orbelin/platform/error.h"

namespace orbelin {

// The full records of a patient's information booklets
// (patient.recoveryPath.informationBooklets), fetched one request per booklet
// with restAPI().getInformationBooklet(bookletId) and imported as NEW
// InformationBooklet objects (sections and media in order) into
// hospitalStore(). Countdown, logging, threads and ownership exactly as in
// StaffMember2Store; the error line is
// "Request2.InformatinBooklet error: " + the localized description.
class InformationBooklets2Store {
 public:
  using BookletsHandler =
      std::function<void(std::optional<std::vector<model2::InformationBooklet2*>> booklets,
                         std::optional<Error> error)>;

  static void downloadInformationBooklets(model2::Patient2* forPatient,
                                          BookletsHandler completionHandler);

  // The import step: a new InformationBooklet in the background context, saved.
  static model2::InformationBooklet2* informationBookletFromJSON(std::string_view text);
};

}  // namespace orbelin
