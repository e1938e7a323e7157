// The one exception type of the public classes, and the numbers that automation itself gives to
// errors. The component's own numbers are listed with the classes that raise them.
#ifndef PVGROUPMAN_AUTOMATION_ERROR_H_
#define PVGROUPMAN_AUTOMATION_ERROR_H_

#include <cstdint>
#include <exception>
#include <string>

#include "pvgroupman/automation/api.h"

namespace pv::automation {

// Numbers of the errors that every automation host knows.
enum : std::int32_t {
  kErrInvalidCall = 5,        // Invalid procedure call or argument (also: no item with this key)
  kErrOverflow = 6,           // Overflow
  kErrOutOfMemory = 7,        // Out of memory
  kErrSubscript = 9,          // Subscript out of range (also: no item at this position)
  kErrTypeMismatch = 13,      // Type mismatch
  kErrInternal = 51,          // Internal error
  kErrObjectNotSet = 91,      // Object variable or With block variable not set
  kErrInvalidNull = 94,       // Invalid use of Null
  kErrCannotCreate = 429,     // ActiveX component can't create object
  kErrNoSuchMember = 438,     // Object doesn't support this property or method
  kErrNamedArgument = 448,    // Named argument not found
  kErrArgumentMissing = 449,  // Argument not optional
  kErrArgumentCount = 450,    // Wrong number of arguments or invalid property assignment
  kErrDuplicateKey = 457,     // This key is already associated with an element of this collection
};

// Base that hosts add to error numbers of their own (-2147221504); the component adds nothing.
constexpr std::int32_t kObjectError = static_cast<std::int32_t>(0x80040000U);

// What a public member throws, and nothing else. The number is what a host branches on: one of
// those above, one of the component's plain numbers, or a negative code of the table engine.
class PV_API Error : public std::exception {
 public:
  // `source` names the operation that failed, as "Groups::OpenGroup"; `description` is a sentence
  // for people.
  Error(std::int32_t number, std::string source, std::string description)
      : number_(number), source_(std::move(source)), description_(std::move(description)) {}

  // The error's number; never 0.
  std::int32_t number() const noexcept { return number_; }

  // The operation that failed; the outermost one where several were involved.
  const std::string& source() const noexcept { return source_; }

  // What happened, as a sentence.
  const std::string& description() const noexcept { return description_; }

  // The description, for code that knows only std::exception.
  const char* what() const noexcept override { return description_.c_str(); }

  // The same error with another source, as an operation does that passes it on under its label.
  Error WithSource(std::string source) const {
    return Error(number_, std::move(source), description_);
  }

 private:
  std::int32_t number_;
  std::string source_;
  std::string description_;
};

// The standard sentence of one of the numbers above; "Application-defined or object-defined
// error" for any other.
PV_API const char* StandardDescription(std::int32_t number);

// Throws one of the errors above with its standard sentence and, when given, `detail` after it
// in parentheses.
[[noreturn]] PV_API void Raise(std::int32_t number, const std::string& source = {},
                               const std::string& detail = {});

// Call inside a catch block: the exception in flight as an Error. An Error is returned as it is,
// lack of memory becomes number 7, anything else number 51 with its text.
PV_API Error CurrentError(const std::string& source = {});

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_ERROR_H_
