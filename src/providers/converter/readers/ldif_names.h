// What the attributes of directory entries mean as properties of a contact.
#ifndef PV_PROVIDERS_CONVERTER_READERS_LDIF_NAMES_H_
#define PV_PROVIDERS_CONVERTER_READERS_LDIF_NAMES_H_

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

#include "providers/converter/model/property_tags.h"
#include "providers/converter/model/wanted.h"

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

// Whether a name is the one given in lower case; letter case of ASCII letters is ignored. The first
// asks that of two of the same length.
bool HasLettersOf(std::string_view name, std::string_view lower);
inline bool IsNamed(std::string_view name, std::string_view lower) {
  return name.size() == lower.size() && HasLettersOf(name, lower);
}

// The meaning of an attribute by its name, letter case ignored.
LdifMeaning MeaningOf(std::string_view attribute, LdifProfile profile);

// Tells from the first three characters of a line that it begins none of some attributes: nearly
// all lines of an entry are of no interest to one who wants a few properties.
class LdifFilter {
 public:
  // The attributes with these names, in lower case.
  explicit LdifFilter(std::span<const std::string_view> names);
  // The attributes behind the wanted properties, and the entry's name.
  explicit LdifFilter(const Wanted& wanted);

  bool MayBegin(std::string_view line) const {
    if (line.size() < 3) return true;
    return (more_[line[0] & 31] >> ((line[1] ^ line[2]) & 31) & 1) != 0;
  }
  const Wanted& wanted() const { return wanted_; }

 private:
  void Add(std::string_view name);

  Wanted wanted_;
  // By the first character, which others come behind it. Letter case is in bit 5 and left out.
  std::array<std::uint32_t, 32> more_{};
};

// What kind of entry an object class (letter case ignored) makes.
enum class EntryClass : std::uint8_t { kOther, kPerson, kGroup, kNobody };
EntryClass EntryClassOf(std::string_view object_class);

// The attributes that any of the meanings, or membership, is read from, for asking a directory.
// Ends with a null pointer.
const char* const* DirectoryAttributes();

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_READERS_LDIF_NAMES_H_
