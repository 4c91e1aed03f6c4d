#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A message between staff members, about a patient or a task.
//
// Entity "Message". Its service identifier is `messageId`.
// Its dictionary form leaves out patient, task.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class Message2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> messageId;
    Required<std::string> from;
    Required<std::string> to;
    Required<std::string> body;
    Required<Date> timeStamp;
    std::optional<MessageCategoryEnum> category = std::nullopt;
    std::optional<MessagePriorityEnum> priority = std::nullopt;
    std::optional<MessageStatusEnum> status = std::nullopt;
    std::optional<std::string> thread = std::nullopt;
    Patient2* patient = nullptr;
    Task2* task = nullptr;
  };

  std::string className() const override;  // "Message"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "messageId"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> messageId() const;
  std::optional<std::string> from() const;
  std::optional<std::string> to() const;
  std::optional<std::string> body() const;
  std::optional<Date> timeStamp() const;
  // The raw value of a MessageCategoryEnum case.
  std::optional<std::string> category() const;
  // The raw value of a MessagePriorityEnum case.
  std::optional<std::string> priority() const;
  // The raw value of a MessageStatusEnum case.
  std::optional<std::string> status() const;
  std::optional<std::string> thread() const;
  Patient2* patient() const;
  Task2* task() const;
};

}  // namespace orbelin::model2
