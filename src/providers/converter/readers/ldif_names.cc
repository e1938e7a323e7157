// The table of attributes. Tested by ldif_book_test.cc.
#include "providers/converter/readers/ldif_names.h"

#include <array>
#include <utility>
#include <vector>

#include "base/bytes.h"
#include "providers/converter/text/decode.h"

namespace pv::converter {
namespace {

struct Row {
  const char* name;
  LdifUse use;
  PropertyTag tag;
};

using enum LdifUse;

constexpr Row kRows[] = {
    {"cn", kText, kDisplayName},
    {"commonname", kText, kDisplayName},
    {"displayname", kWeak, kDisplayName},
    {"display-name", kWeak, kDisplayName},
    {"mail", kAddress, kEmail},
    {"rfc822mailbox", kAddress, kEmail},
    {"mozillasecondemail", kAddress, kEmail},
    {"xmozillasecondemail", kAddress, kEmail},
    {"othermailbox", kAddress, kEmail},
    {"mailalternateaddress", kAddress, kEmail},
    {"givenname", kText, kGivenName},
    {"gn", kText, kGivenName},
    {"sn", kText, kSurname},
    {"surname", kText, kSurname},
    {"initials", kText, kInitials},
    {"middlename", kText, kMiddleName},
    {"personaltitle", kText, kDisplayNamePrefix},
    {"generationqualifier", kText, kGeneration},
    {"mozillanickname", kText, kNickName},
    {"xmozillanickname", kText, kNickName},
    {"xnavnickname", kText, kNickName},
    {"description", kText, kComment},
    {"info", kWeak, kComment},
    {"comment", kWeak, kComment},
    {"o", kText, kCompany},
    {"organizationname", kText, kCompany},
    {"company", kText, kCompany},
    {"ou", kText, kDepartment},
    {"orgunit", kText, kDepartment},
    {"department", kText, kDepartment},
    {"departmentnumber", kWeak, kDepartment},
    {"title", kText, kTitle},
    {"telephonenumber", kText, kBusinessPhone},
    {"homephone", kText, kHomePhone},
    {"hometelephonenumber", kText, kHomePhone},
    {"mobile", kText, kCellPhone},
    {"mobiletelephonenumber", kText, kCellPhone},
    {"cellphone", kText, kCellPhone},
    {"carphone", kText, kCarPhone},
    {"pager", kText, kPager},
    {"pagerphone", kText, kPager},
    {"pagertelephonenumber", kText, kPager},
    {"fax", kText, kBusinessFax},
    {"facsimiletelephonenumber", kText, kBusinessFax},
    {"telexnumber", kText, kTelex},
    {"internationalisdnnumber", kText, kIsdn},
    {"street", kText, kBusinessStreet},
    {"streetaddress", kText, kBusinessStreet},
    {"mozillaworkstreet2", kLine, kBusinessStreet},
    {"l", kText, kBusinessCity},
    {"locality", kText, kBusinessCity},
    {"localityname", kText, kBusinessCity},
    {"st", kText, kBusinessState},
    {"region", kText, kBusinessState},
    {"stateorprovincename", kText, kBusinessState},
    {"postalcode", kText, kBusinessPostalCode},
    {"zip", kText, kBusinessPostalCode},
    {"co", kText, kBusinessCountry},
    {"c", kWeak, kBusinessCountry},
    {"countryname", kWeak, kBusinessCountry},
    {"postofficebox", kText, kBusinessPoBox},
    {"postaladdress", kPostal, kPostalAddress},
    {"mozillahomestreet", kText, kHomeStreet},
    {"homestreet", kText, kHomeStreet},
    {"mozillahomestreet2", kLine, kHomeStreet},
    {"homepostaladdress", kPostal, kHomeStreet},
    {"mozillahomelocalityname", kText, kHomeCity},
    {"mozillahomestate", kText, kHomeState},
    {"mozillahomepostalcode", kText, kHomePostalCode},
    {"mozillahomecountryname", kText, kHomeCountry},
    {"mozillaworkurl", kText, kBusinessHomePage},
    {"workurl", kText, kBusinessHomePage},
    {"wwwhomepage", kText, kBusinessHomePage},
    {"mozillahomeurl", kText, kPersonalHomePage},
    {"homeurl", kText, kPersonalHomePage},
    {"labeleduri", kUrl, kPersonalHomePage},
    {"labeledurl", kUrl, kPersonalHomePage},
    {"physicaldeliveryofficename", kText, kOfficeLocation},
    {"roomnumber", kWeak, kOfficeLocation},
    {"preferredlanguage", kText, kLanguage},
    {"manager", kName, kManagerName},
    {"secretary", kName, kAssistant},
    {"birthyear", kBirthYear, kBirthday},
    {"birthmonth", kBirthMonth, kBirthday},
    {"birthday", kBirthDay, kBirthday},
    {"xbatbirthday", kDigits, kBirthday},
    {"modifytimestamp", kModified, kLastModification},
    {"whenchanged", kModified, kLastModification},
};

constexpr std::pair<const char*, EntryClass> kClasses[] = {
    {"person", EntryClass::kPerson},
    {"organizationalperson", EntryClass::kPerson},
    {"inetorgperson", EntryClass::kPerson},
    {"residentialperson", EntryClass::kPerson},
    {"pilotperson", EntryClass::kPerson},
    {"newpilotperson", EntryClass::kPerson},
    {"mozillaabpersonalpha", EntryClass::kPerson},
    {"mozillaabpersonobsolete", EntryClass::kPerson},
    {"user", EntryClass::kPerson},
    {"contact", EntryClass::kPerson},
    {"groupofnames", EntryClass::kGroup},
    {"groupofuniquenames", EntryClass::kGroup},
    {"group", EntryClass::kGroup},
    {"computer", EntryClass::kNobody},
};

// Eight characters with their ASCII letters in lower case.
std::uint64_t LowerEight(const char* text) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const std::uint64_t chars = LoadLe64(text);
  const std::uint64_t low = chars & kOnes * 0x7F;
  const std::uint64_t from_a = low + kOnes * (0x80 - 'A');
  const std::uint64_t behind_z = low + kOnes * (0x7F - 'Z');
  const std::uint64_t upper = (from_a ^ behind_z) & ~chars & kOnes * 0x80;
  return chars | upper >> 2;
}

// A few hundred names in lower case, found whatever the letter case of the one that is sought.
template <typename T>
class NameTable {
 public:
  void Add(std::string_view lower, T value) {
    std::size_t slot = Hash(lower);
    while (!slots_[slot].name.empty() && slots_[slot].name != lower) slot = (slot + 1) % kSlots;
    slots_[slot] = {lower, value};
  }

  T Find(std::string_view name) const {
    for (std::size_t slot = Hash(name); !slots_[slot].name.empty(); slot = (slot + 1) % kSlots) {
      if (IsNamed(name, slots_[slot].name)) return slots_[slot].value;
    }
    return {};
  }

 private:
  static constexpr std::size_t kSlots = 1024;
  struct Slot {
    std::string_view name;
    T value{};
  };

  // Length, ends and middle tell nearly all of the names apart.
  static std::size_t Hash(std::string_view name) {
    if (name.empty()) return 0;
    const auto at = [&](std::size_t i) {
      return static_cast<std::size_t>(static_cast<unsigned char>(LowerAscii(name[i])));
    };
    return (name.size() * 31 + at(0) * 131 + at(name.size() - 1) * 1031 +
            at(name.size() / 2) * 8209) %
           kSlots;
  }

  std::array<Slot, kSlots> slots_;
};

NameTable<LdifMeaning> MakeMeanings(LdifProfile profile) {
  NameTable<LdifMeaning> meanings;
  for (const Row& row : kRows) meanings.Add(row.name, {row.use, row.tag});
  if (profile == LdifProfile::kDirectory) {
    meanings.Add("displayname", {kText, kDisplayName});
    meanings.Add("cn", {kWeak, kDisplayName});
  }
  return meanings;
}

}  // namespace

bool HasLettersOf(std::string_view name, std::string_view lower) {
  const std::size_t size = name.size();
  if (size >= 8) {
    for (std::size_t i = 0; i + 8 < size; i += 8) {
      if (LowerEight(name.data() + i) != LoadLe64(lower.data() + i)) return false;
    }
    return LowerEight(name.data() + size - 8) == LoadLe64(lower.data() + size - 8);
  }
  for (std::size_t i = 0; i < size; ++i) {
    if (LowerAscii(name[i]) != lower[i]) return false;
  }
  return true;
}

LdifMeaning MeaningOf(std::string_view attribute, LdifProfile profile) {
  static const NameTable<LdifMeaning> book = MakeMeanings(LdifProfile::kAddressBook);
  static const NameTable<LdifMeaning> directory = MakeMeanings(LdifProfile::kDirectory);
  return profile == LdifProfile::kDirectory ? directory.Find(attribute) : book.Find(attribute);
}

LdifFilter::LdifFilter(std::span<const std::string_view> names) {
  for (const std::string_view name : names) Add(name);
}

LdifFilter::LdifFilter(const Wanted& wanted) : wanted_(wanted) {
  Add("dn");
  for (const Row& row : kRows) {
    if (wanted.Has(row.tag)) Add(row.name);
  }
}

void LdifFilter::Add(std::string_view name) {
  std::uint32_t& more = more_[name[0] & 31];
  if (name.size() == 1) {
    more = UINT32_MAX;
  } else if (name.size() == 2) {
    more |= 1U << ((name[1] ^ ':') & 31) | 1U << ((name[1] ^ ';') & 31);
  } else {
    more |= 1U << ((name[1] ^ name[2]) & 31);
  }
}

EntryClass EntryClassOf(std::string_view object_class) {
  static const NameTable<EntryClass> classes = [] {
    NameTable<EntryClass> table;
    for (const auto& [name, kind] : kClasses) table.Add(name, kind);
    return table;
  }();
  return classes.Find(object_class);
}

const char* const* DirectoryAttributes() {
  static const std::vector<const char*> attributes = [] {
    std::vector<const char*> names = {"objectClass", "member", "uniqueMember"};
    for (const Row& row : kRows) names.push_back(row.name);
    names.push_back(nullptr);
    return names;
  }();
  return attributes.data();
}

}  // namespace pv::converter
