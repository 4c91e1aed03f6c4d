#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string_view>
#include <type_traits>

namespace orbelin::model2 {

// One case of a vocabulary and the text that records store for it.
template <typename E>
struct VocabularyEntry {
  E value;
  std::string_view rawValue;
};

// The table of a vocabulary enumeration: specialize with a static constexpr
// array `entries` of VocabularyEntry<E>, one per case, in declaration order.
// The templates below are the enumeration's whole behaviour, so each case
// and its text are written once, in that table.
template <typename E>
struct VocabularyTable;

template <typename E>
concept Vocabulary = std::is_enum_v<E> && requires {
  { VocabularyTable<E>::entries.size() } -> std::convertible_to<std::size_t>;
};

// True when the table lists every case at its ordinal and no text twice;
// checked at compile time wherever the enumeration is used.
template <Vocabulary E>
constexpr bool isWellFormedVocabulary() {
  const auto& entries = VocabularyTable<E>::entries;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (static_cast<std::size_t>(entries[i].value) != i) return false;
    for (std::size_t j = 0; j < i; ++j)
      if (entries[j].rawValue == entries[i].rawValue) return false;
  }
  return true;
}

// The text stored for `value`. The view refers to static storage.
template <Vocabulary E>
constexpr std::string_view rawValue(E value) {
  static_assert(isWellFormedVocabulary<E>());
  return VocabularyTable<E>::entries[static_cast<std::size_t>(value)].rawValue;
}

// The case whose text equals `text` exactly (every character counts: no
// trimming, no case folding, a case name is not a text), else nullopt.
//   fromRawValue<StaffMemberRoleEnum>("Charge Nurse") -> ChargeNurse
template <Vocabulary E>
constexpr std::optional<E> fromRawValue(std::string_view text) {
  static_assert(isWellFormedVocabulary<E>());
  for (const auto& entry : VocabularyTable<E>::entries)
    if (entry.rawValue == text) return entry.value;
  return std::nullopt;
}

// The case's 0-based position in its declaration; used as its hash.
template <Vocabulary E>
constexpr std::ptrdiff_t hashValue(E value) {
  return static_cast<std::ptrdiff_t>(value);
}

// std::hash for the vocabularies: the ordinal.
template <Vocabulary E>
struct VocabularyHash {
  std::size_t operator()(E value) const noexcept { return static_cast<std::size_t>(value); }
};

}  // namespace orbelin::model2
