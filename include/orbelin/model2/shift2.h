#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// One shift of a staff member.
//
// Entity "Shift". It has no service identifier.
// Its dictionary form leaves out staffMember.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Shift2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> title;
    Required<std::int32_t> durationinHours;
    Required<Date> startDateTime;
    Required<Date> endDateTime;
    Required<StaffMember2*> staffMember;
  };

  std::string className() const override;  // "Shift"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> title() const;
  std::optional<std::int32_t> durationinHours() const;
  std::optional<Date> startDateTime() const;
  std::optional<Date> endDateTime() const;
  StaffMember2* staffMember() const;
};

}  // namespace orbelin::model2
