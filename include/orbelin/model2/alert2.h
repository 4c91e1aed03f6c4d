#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// An alert raised about a patient (an abnormal test result, a decline in mood).
//
// Entity "Alert". Its service identifier is `alertId`.
// Its dictionary form leaves out patient.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Alert2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> alertId;
    Required<std::string> shortDesc;
    Required<AlertCategoryEnum> category;
    Required<AlertSeverityEnum> severity;
    Required<Date> created;
    Required<Date> lastModified;
    std::optional<std::string> longDesc = std::nullopt;
    Patient2* patient = nullptr;
  };

  std::string className() const override;  // "Alert"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "alertId"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> alertId() const;
  std::optional<std::string> shortDesc() const;
  // The raw value of a AlertCategoryEnum case.
  std::optional<std::string> category() const;
  // The raw value of a AlertSeverityEnum case.
  std::optional<std::string> severity() const;
  std::optional<Date> created() const;
  std::optional<Date> lastModified() const;
  std::optional<std::string> longDesc() const;
  Patient2* patient() const;
};

}  // namespace orbelin::model2
