// The properties of one item of a store.
#ifndef PV_PROVIDERS_CONVERTER_READERS_PST_PROPERTIES_H_
#define PV_PROVIDERS_CONVERTER_READERS_PST_PROPERTIES_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "providers/converter/model/property_tags.h"
#include "providers/converter/readers/pst_library.h"

namespace pv::converter {

// Which set of names a named property belongs to.
enum class PstSet : std::uint8_t { kNone, kAddress, kStrings, kOther };

struct PstProperty {
  std::uint32_t id = 0;    // the number, also that of a named property within its set
  std::uint32_t type = 0;  // of the value, as in the low half of a tag
  PstSet set = PstSet::kNone;
  std::string name;                 // of a property named by text
  std::vector<std::string> values;  // the bytes; several for types with 0x1000
};

class PstProperties {
 public:
  // False when the item has none that can be read.
  bool Read(const PffLibrary* library, libpff_item_t* item);

  const std::vector<PstProperty>& all() const { return properties_; }
  const PstProperty* Find(std::uint32_t id, PstSet set = PstSet::kNone) const;
  // Text, decoded from UTF-16 or the item's code page; "" when there is none.
  std::string Text(std::uint32_t id, PstSet set = PstSet::kNone) const;
  std::vector<std::string> Texts(const PstProperty& property) const;

 private:
  bool ReadEntry(const PffLibrary* library, libpff_record_entry_t* entry, PstProperty* property);

  std::vector<PstProperty> properties_;
};

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_PST_PROPERTIES_H_
