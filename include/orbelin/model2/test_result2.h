#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One result of a medical test, with who analyzed it and its imagery.
//
// Entity "TestResult". It has no service identifier.
// Its dictionary form leaves out test.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class TestResult2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<bool> abnormal;
    Required<std::string> analysis;
    Required<Date> timeStamp;
    Required<MedicalTest2*> test;
    StaffMember2* analyzedBy = nullptr;
    MultiMedia2* imagery = nullptr;
  };

  std::string className() const override;  // "TestResult"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<bool> abnormal() const;
  std::optional<std::string> analysis() const;
  std::optional<Date> timeStamp() const;
  MedicalTest2* test() const;
  StaffMember2* analyzedBy() const;
  MultiMedia2* imagery() const;
};

}  // namespace orbelin::model2
