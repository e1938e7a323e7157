// The table of attributes. Tested by ldif_book_test.cc.
#include "providers/converter/readers/ldif_names.h"

#include <array>
#include <unordered_map>
#include <vector>

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

// Length, ends and middle tell nearly all of the names apart.
struct NameHash {
  std::size_t operator()(std::string_view name) const noexcept {
    if (name.empty()) return 0;
    const auto at = [&](std::size_t i) { return static_cast<unsigned char>(name[i]); };
    return name.size() * 31 + at(0) * 131U + at(name.size() - 1) * 1031U +
           at(name.size() / 2) * 8209U;
  }
};
using Meanings = std::unordered_map<std::string_view, LdifMeaning, NameHash>;

Meanings MakeMeanings(LdifProfile profile) {
  Meanings meanings;
  for (const Row& row : kRows) meanings[row.name] = {row.use, row.tag};
  if (profile == LdifProfile::kDirectory) {
    meanings["displayname"].use = kText;
    meanings["cn"].use = kWeak;
  }
  return meanings;
}

}  // namespace

LdifMeaning MeaningOf(std::string_view attribute, LdifProfile profile) {
  static const Meanings book = MakeMeanings(LdifProfile::kAddressBook);
  static const Meanings directory = MakeMeanings(LdifProfile::kDirectory);
  const Meanings& meanings = profile == LdifProfile::kDirectory ? directory : book;
  const auto found = meanings.find(attribute);
  return found != meanings.end() ? found->second : LdifMeaning{};
}

EntryClass EntryClassOf(std::string_view object_class) {
  static const std::unordered_map<std::string_view, EntryClass> classes = {
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
  const auto found = classes.find(object_class);
  return found != classes.end() ? found->second : EntryClass::kOther;
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
