#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// A media item, held inline as bytes or by address.
//
// Entity "MultiMedia". It has no service identifier.
// Its dictionary form leaves out bookletSection, note, testResult.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class MultiMedia2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> mimeType;
    std::optional<graph::Bytes> binaryData = std::nullopt;
    std::optional<std::string> thumbnailURL = std::nullopt;
    std::optional<std::string> url = std::nullopt;
    BookletSection2* bookletSection = nullptr;
    Note2* note = nullptr;
    TestResult2* testResult = nullptr;
  };

  std::string className() const override;  // "MultiMedia"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> mimeType() const;
  std::optional<graph::Bytes> binaryData() const;
  std::optional<std::string> thumbnailURL() const;
  std::optional<std::string> url() const;
  BookletSection2* bookletSection() const;
  Note2* note() const;
  TestResult2* testResult() const;
};

}  // namespace orbelin::model2
