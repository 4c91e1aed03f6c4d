#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A medical test on a recovery path, with its normal range and its results.
//
// Entity "MedicalTest". Its service identifier is `testId`.
// Its dictionary form leaves out recoveryPath.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class MedicalTest2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> testId;
    Required<std::string> shortDesc;
    Required<Date> dateTime;
    std::optional<std::string> longDesc = std::nullopt;
    std::optional<double> normalMax = std::nullopt;
    std::optional<double> normalMin = std::nullopt;
    std::optional<std::string> technicianId = std::nullopt;
    RecoveryPath2* recoveryPath = nullptr;
    std::optional<std::vector<TestResult2*>> results = std::nullopt;
  };

  std::string className() const override;  // "MedicalTest"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "testId"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> testId() const;
  std::optional<std::string> shortDesc() const;
  std::optional<Date> dateTime() const;
  std::optional<std::string> longDesc() const;
  std::optional<double> normalMax() const;
  std::optional<double> normalMin() const;
  std::optional<std::string> technicianId() const;
  RecoveryPath2* recoveryPath() const;
  std::vector<TestResult2*> results() const;
};

}  // namespace orbelin::model2
