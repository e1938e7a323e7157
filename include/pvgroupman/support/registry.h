// cRegistry: one value of the registry, read, written and listed; and document types registered
// for a program.
#ifndef PVGROUPMAN_SUPPORT_REGISTRY_H_
#define PVGROUPMAN_SUPPORT_REGISTRY_H_

#include <cstdint>
#include <optional>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/object.h"
#include "pvgroupman/automation/value.h"

namespace pv::support {

// Numbers of its errors.
enum : std::int32_t {
  kErrRegistry = 26001,
  kErrRegistryWrite = automation::kObjectError + 27049,
  kErrAssociationList = automation::kObjectError + 27052,
  kErrAssociationClass = automation::kObjectError + 27053,
};

// Properties select a value by root key, key path and name; the operations act on it. On Windows
// it is the system's registry; elsewhere a text file below the user's configuration folder takes
// its place, with the same keys, types and errors.
//
//   auto registry = automation::MakeObject<support::cRegistry>();
//   registry->SetClassKey(static_cast<std::int32_t>(0x80000001U));  // the current user
//   registry->SetSectionKey("Software\\Parvane");
//   registry->SetValueKey("Folder");
//   automation::Value folder = registry->GetValue();
//
// Errors have the source "pvgrpman.cRegistry".
class PV_API cRegistry : public automation::Object {
 public:
  static constexpr const char* kClassName = "cRegistry";

  // The computer whose registry is used; "" is this one. Only Windows reaches others: elsewhere a
  // read gives Default and whatever changes something fails.
  std::string GetMachine() const { return machine_; }
  void SetMachine(const std::string& NewValue) { machine_ = NewValue; }

  // The root key, one of the system's predefined handles, as &H80000001 for the current user.
  std::int32_t GetClassKey() const { return class_key_; }
  void SetClassKey(std::int32_t NewValue) { class_key_ = NewValue; }

  // The path of the key below the root.
  std::string GetSectionKey() const { return section_key_; }
  void SetSectionKey(const std::string& NewValue) { section_key_ = NewValue; }

  // The value's name; "" is the key's default value.
  std::string GetValueKey() const { return value_key_; }
  void SetValueKey(const std::string& NewValue) { value_key_ = NewValue; }

  // The type that is written: 1 text (the initial one), 2 expandable text, 3 binary, 4 or 5 number.
  std::int32_t GetValueType() const { return value_type_; }
  void SetValueType(std::int32_t NewValue) { value_type_ = NewValue; }

  // What a read gives when the value cannot be read.
  automation::Value GetDefault() const { return default_; }
  void SetDefault(const automation::Value& NewValue) { default_ = NewValue; }

  // Whether the key can be opened.
  bool GetKeyExists() const;

  // Makes the key and those above it. Error 26001.
  void CreateKey();

  // Deletes the key and its values; a key with others below it stays. Error 26001.
  void DeleteKey();

  // Deletes the value. Error 26001.
  void DeleteValue();

  // The value: text up to the first zero for types 1, 2 (with %NAME% replaced) and 7, a 32-bit
  // integer for types 4 and 5, bytes for any other; Default when it cannot be read.
  automation::Value GetValue() const;

  // Writes the value, making the key when missing: types 1 and 2 take what can become text, type 3
  // an array of bytes, types 4 and 5 a 16-bit or 32-bit integer, stored as type 4. Error 26001 for
  // any other type or value and a key that cannot be made, kErrRegistryWrite when writing fails.
  void SetValue(const automation::Value& NewValue);

  // The same after setting ClassKey, SectionKey and ValueKey, and for a write ValueType when given;
  // a read leaves ValueType alone.
  automation::Value GetValueEx(std::int32_t ClassKey, const std::string& SectionKey,
                               const std::string& ValueKey,
                               const std::optional<std::int32_t>& ValueType);
  void SetValueEx(std::int32_t ClassKey, const std::string& SectionKey, const std::string& ValueKey,
                  const std::optional<std::int32_t>& ValueType, const automation::Value& NewValue);

  // Fills `Names` with an array of the names of the key's values, or of the keys below it, and
  // returns how many there are; none for a key that cannot be opened.
  std::int32_t EnumerateValues(automation::Value& Names) const;
  std::int32_t EnumerateSections(automation::Value& Names) const;

  // Registers a document type for a program, under the classes root and under
  // SOFTWARE\Classes of the local machine. Texts that are left out or empty have their defaults
  // ("&Open", "&Print", "&Install EXTENSION", "&New"). Afterwards SectionKey is what it was,
  // ClassKey the local machine, ValueKey "" and ValueType 1.
  void CreateEXEAssociation(
      const std::string& ExePath, const std::string& Extension, const std::string& ClassName,
      const std::string& ClassDescription, const std::optional<std::string>& OpenMenuText,
      const std::optional<bool>& SupportPrint, const std::optional<std::string>& PrintMenuText,
      const std::optional<bool>& SupportAdd, const std::optional<std::string>& AddMenuText,
      const std::optional<bool>& SupportNew, const std::optional<std::string>& NewMenuText,
      const std::optional<std::int32_t>& IconIndex);

  // Adds verbs to a document type: `Items` is an array of texts, a verb's name, menu text and
  // command in turn. Errors: kErrAssociationList when they are not in threes, kErrAssociationClass
  // when there is no such document type; then nothing is written.
  void CreateAdditionalEXEAssociations(const std::string& ClassName,
                                       const automation::Value& Items);

  const automation::MemberTable& Members() const override;

 private:
  // Writes a default value in both places.
  void Associate(const std::string& section, const std::string& text);
  [[noreturn]] void FailWrite(std::int32_t number, const automation::Value& value,
                              const std::string& reason) const;

  std::string machine_;
  std::int32_t class_key_ = 0;
  std::string section_key_;
  std::string value_key_;
  std::int32_t value_type_ = 1;
  automation::Value default_;
};

}  // namespace pv::support

#endif  // PVGROUPMAN_SUPPORT_REGISTRY_H_
