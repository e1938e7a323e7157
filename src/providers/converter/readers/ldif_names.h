// What the attributes of directory entries mean as properties of a contact.
#ifndef PV_PROVIDERS_CONVERTER_READERS_LDIF_NAMES_H_
#define PV_PROVIDERS_CONVERTER_READERS_LDIF_NAMES_H_

#include <cstdint>
#include <string_view>

#include "providers/converter/model/property_tags.h"

namespace pv::converter {

// Who wrote the entries: programs put a person's name as displayed into cn, directories into
// displayName.
enum class LdifProfile : std::uint8_t { kAddressBook, kDirectory };

enum class LdifUse : std::uint8_t {
  kNone,
  kText,       // the first value counts
  kWeak,       // counts when no attribute of the kind above gave the property
  kLine,       // a further line of the property
  kPostal,     // text whose lines are parted by "$"
  kName,       // the name in a DN
  kUrl,        // text up to the first blank, the label behind it left out
  kAddress,    // an e-mail address; all of them count
  kBirthYear,  // the three parts of the birthday
  kBirthMonth,
  kBirthDay,
  kDigits,    // a day as yyyymmdd
  kModified,  // seconds from 1970, or yyyymmddhhmmss with more behind
};

struct LdifMeaning {
  LdifUse use = LdifUse::kNone;
  PropertyTag tag = 0;
};

// The meaning of an attribute by its name in lower case.
LdifMeaning MeaningOf(std::string_view attribute, LdifProfile profile);

// What kind of entry an object class (in lower case) makes.
enum class EntryClass : std::uint8_t { kOther, kPerson, kGroup, kNobody };
EntryClass EntryClassOf(std::string_view object_class);

// The attributes that any of the meanings, or membership, is read from, for asking a directory.
// Ends with a null pointer.
const char* const* DirectoryAttributes();

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_LDIF_NAMES_H_
