#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orbelin/model2/entity_support.h"

namespace orbelin::model2 {

// An information booklet given to patients on recovery paths, with its
// sections in order.
//
// Entity "InformationBooklet". Its service identifier is `bookletId`.
// Its dictionary form leaves out recoveryPaths.
//
// Ownership and threads: as for every NSManagedObjectEx, the context owns
// the object, which is used on that context's thread or queue.
class InformationBooklet2 : public NSManagedObjectEx {
 public:
  // The arguments of setProperties, in their order (see entity_support.h).
  struct Properties {
    Required<std::string> bookletId;
    Required<std::string> title;
    std::optional<std::string> shortDesc = std::nullopt;
    std::optional<std::string> longDesc = std::nullopt;
    std::optional<std::string> provider = std::nullopt;
    std::optional<Date> created = std::nullopt;
    std::optional<Date> lastModified = std::nullopt;
    std::optional<std::vector<RecoveryPath2*>> recoveryPaths = std::nullopt;
    std::optional<std::vector<BookletSection2*>> sections = std::nullopt;
  };

  std::string className() const override;  // "InformationBooklet"
  std::optional<std::string> externalObjectId() const override;
  std::optional<std::string> externalObjectIdName() const override;  // "bookletId"
  bool ignoreRelation(std::string_view name) const override;
  // The relations left out of the dictionary form, in order; the same for
  // every instance.
  std::span<const std::string_view> ignoreRelations() const;

  // Writes every required property and every optional one that is present;
  // absent ones keep their values. A present list replaces the relationship's
  // whole content (an empty list empties it). Nothing is saved.
  void setProperties(const Properties& properties);

  // Typed reads: absent (or null, or empty) when unset.
  std::optional<std::string> bookletId() const;
  std::optional<std::string> title() const;
  std::optional<std::string> shortDesc() const;
  std::optional<std::string> longDesc() const;
  std::optional<std::string> provider() const;
  std::optional<Date> created() const;
  std::optional<Date> lastModified() const;
  std::vector<RecoveryPath2*> recoveryPaths() const;
  std::vector<BookletSection2*> sections() const;
};

}  // namespace orbelin::model2
