#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "orbelin/graph/value.h"
#include "orbelin/model2/managed_object_ex.h"
#include "orbelin/model2/vocabulary.h"
#include "orbelin/platform/date.h"

// What every recovery-path entity class shares: the names of the others, and
// the argument form of setProperties.
namespace orbelin::model2 {

class Alert2;
class Appoitment2;
class Bed2;
class BookletSection2;
class DatedValue2;
class InformationBooklet2;
class Instruction2;
class InstructionAction2;
class MedicalTest2;
class Medication2;
class Message2;
class MultiMedia2;
class Note2;
class Patient2;
class RecoveryPath2;
class Room2;
class Shift2;
class StaffMember2;
class Task2;
class TestResult2;
class Vital2;

// setProperties takes one aggregate per entity, `<Entity>::Properties`,
// filled with designated initializers:
//
//   patient->setProperties({.patientId = "p1",
//                            .firstName = "Ann",
//                            .lastName = "Lee",
//                            .gender = GenderEnum::Female,
//                            .birthDate = birthDate,
//                            .status = PatientStatusEnum::Admitted});
//
// C++ has no argument labels; designators keep every argument's name at the
// call site, and must follow the members' order, which is the order of the
// entity's properties. Whether an argument is required is a compile-time
// matter: a required one is a Required<T>, which has no default, so leaving
// it out does not compile; an optional one is a std::optional<T> (a to-one
// object: a pointer, null when absent) and is absent unless given.
//
// Argument types: text std::string, date Date, truth value bool, 32-bit
// number std::int32_t, double and boxed number double (the one boxed number,
// Note2.number, is a measured value: held as a double, stored unchanged),
// binary data graph::Bytes, dictionary Dictionary, a vocabulary case its
// enumeration (its raw value is what gets stored), a to-one object a pointer
// to its class, a to-many relationship a std::vector of pointers in order.
template <typename T>
class Required {
 public:
  template <typename U>
  requires std::convertible_to<U&&, T> Required(U&& value)
      : value_(std::forward<U>(value)) {}  // NOLINT: implicit, reads as `.x = v`

  const T& get() const { return value_; }

 private:
  T value_;
};

}  // namespace orbelin::model2
