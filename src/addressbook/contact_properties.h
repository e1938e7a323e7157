// The catalogue of contact properties: which name belongs to which tag.
#ifndef PV_ADDRESSBOOK_CONTACT_PROPERTIES_H_
#define PV_ADDRESSBOOK_CONTACT_PROPERTIES_H_

#include <cstdint>
#include <span>

namespace pv::addressbook {

// One property. Names are seen by hosts and stand in their mailings: never change one.
struct ContactProperty {
  std::uint32_t tag;
  const char* display_name;
  const char* name;
};

// The e-mail address, which Find and SeekFirst search for.
constexpr std::uint32_t kEmailTag = 0x3003001E;

// All that are known by name, in the order in which a tag is compared with them.
std::span<const ContactProperty> ContactProperties();

// The property of a tag, or null.
const ContactProperty* FindContactProperty(std::uint32_t tag);

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_CONTACT_PROPERTIES_H_
