// The identifiers (GUIDs) under which Windows programs know the component and its classes.
#ifndef PV_SERVER_IDENTIFIERS_H_
#define PV_SERVER_IDENTIFIERS_H_

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace pv::server {

// Laid out as a GUID of the automation runtime.
struct Identifier {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
  bool operator==(const Identifier&) const = default;
};

// What one class is known by.
struct ClassIdentifiers {
  std::string_view name;  // as in the list of classes
  Identifier class_id;
  Identifier interface_id;  // of its dispatch interface
};

extern const Identifier kTypeLibraryId;

// The number of the type library that goes with the identifiers.
constexpr std::uint16_t kTypeLibraryMajor = 4;
constexpr std::uint16_t kTypeLibraryMinor = 0;

// The identifiers of a class or of a record type; null when it has none yet.
const ClassIdentifiers* FindClassIdentifiers(std::string_view class_name);
const Identifier* FindRecordIdentifier(std::string_view record_name);

// Every class that has identifiers, whether it exists in this build or not.
std::span<const ClassIdentifiers> AllClassIdentifiers();

// "01234567-89AB-CDEF-0123-456789ABCDEF".
std::string ToText(const Identifier& id);

}  // namespace pv::server

#endif  // PV_SERVER_IDENTIFIERS_H_
