// The properties of a contact by number: the high half is the property, the low half its type
// (0x001E text, 0x101E several texts, 0x0040 a moment, 0x0102 bytes, 0x0003 a number, 0x000B yes
// or no). Hosts know and store them: never change.
#ifndef PV_PROVIDERS_CONVERTER_MODEL_PROPERTY_TAGS_H_
#define PV_PROVIDERS_CONVERTER_MODEL_PROPERTY_TAGS_H_

#include <cstdint>

namespace pv::converter {

using PropertyTag = std::uint32_t;

inline constexpr PropertyTag kEntryId = 0x0FFF0102;
inline constexpr PropertyTag kDisplayName = 0x3001001E;
inline constexpr PropertyTag kAddressType = 0x3002001E;
inline constexpr PropertyTag kEmail = 0x3003001E;
inline constexpr PropertyTag kComment = 0x3004001E;
inline constexpr PropertyTag kCreationTime = 0x30070040;
inline constexpr PropertyTag kLastModification = 0x30080040;
inline constexpr PropertyTag kCallbackPhone = 0x3A02001E;
inline constexpr PropertyTag kGeneration = 0x3A05001E;
inline constexpr PropertyTag kGivenName = 0x3A06001E;
inline constexpr PropertyTag kGovernmentId = 0x3A07001E;
inline constexpr PropertyTag kBusinessPhone = 0x3A08001E;
inline constexpr PropertyTag kHomePhone = 0x3A09001E;
inline constexpr PropertyTag kInitials = 0x3A0A001E;
inline constexpr PropertyTag kKeyword = 0x3A0B001E;
inline constexpr PropertyTag kLanguage = 0x3A0C001E;
inline constexpr PropertyTag kLocation = 0x3A0D001E;
inline constexpr PropertyTag kSurname = 0x3A11001E;
inline constexpr PropertyTag kPostalAddress = 0x3A15001E;
inline constexpr PropertyTag kCompany = 0x3A16001E;
inline constexpr PropertyTag kTitle = 0x3A17001E;
inline constexpr PropertyTag kDepartment = 0x3A18001E;
inline constexpr PropertyTag kOfficeLocation = 0x3A19001E;
inline constexpr PropertyTag kPrimaryPhone = 0x3A1A001E;
inline constexpr PropertyTag kBusiness2Phone = 0x3A1B001E;
inline constexpr PropertyTag kCellPhone = 0x3A1C001E;
inline constexpr PropertyTag kRadioPhone = 0x3A1D001E;
inline constexpr PropertyTag kCarPhone = 0x3A1E001E;
inline constexpr PropertyTag kOtherPhone = 0x3A1F001E;
inline constexpr PropertyTag kPager = 0x3A21001E;
inline constexpr PropertyTag kPrimaryFax = 0x3A23001E;
inline constexpr PropertyTag kBusinessFax = 0x3A24001E;
inline constexpr PropertyTag kHomeFax = 0x3A25001E;
inline constexpr PropertyTag kBusinessCountry = 0x3A26001E;
inline constexpr PropertyTag kBusinessCity = 0x3A27001E;
inline constexpr PropertyTag kBusinessState = 0x3A28001E;
inline constexpr PropertyTag kBusinessStreet = 0x3A29001E;
inline constexpr PropertyTag kBusinessPostalCode = 0x3A2A001E;
inline constexpr PropertyTag kBusinessPoBox = 0x3A2B001E;
inline constexpr PropertyTag kTelex = 0x3A2C001E;
inline constexpr PropertyTag kIsdn = 0x3A2D001E;
inline constexpr PropertyTag kAssistantPhone = 0x3A2E001E;
inline constexpr PropertyTag kHome2Phone = 0x3A2F001E;
inline constexpr PropertyTag kAssistant = 0x3A30001E;
inline constexpr PropertyTag kWeddingAnniversary = 0x3A410040;
inline constexpr PropertyTag kBirthday = 0x3A420040;
inline constexpr PropertyTag kHobbies = 0x3A43001E;
inline constexpr PropertyTag kMiddleName = 0x3A44001E;
inline constexpr PropertyTag kDisplayNamePrefix = 0x3A45001E;
inline constexpr PropertyTag kProfession = 0x3A46001E;
inline constexpr PropertyTag kSpouseName = 0x3A48001E;
inline constexpr PropertyTag kTtyTddPhone = 0x3A4B001E;
inline constexpr PropertyTag kFtpSite = 0x3A4C001E;
inline constexpr PropertyTag kManagerName = 0x3A4E001E;
inline constexpr PropertyTag kNickName = 0x3A4F001E;
inline constexpr PropertyTag kPersonalHomePage = 0x3A50001E;
inline constexpr PropertyTag kBusinessHomePage = 0x3A51001E;
// Every address of the contact, the first among them too; there only when it has several.
inline constexpr PropertyTag kAllAddresses = 0x3A56101E;
inline constexpr PropertyTag kCompanyMainPhone = 0x3A57001E;
inline constexpr PropertyTag kHomeCity = 0x3A59001E;
inline constexpr PropertyTag kHomeCountry = 0x3A5A001E;
inline constexpr PropertyTag kHomePostalCode = 0x3A5B001E;
inline constexpr PropertyTag kHomeState = 0x3A5C001E;
inline constexpr PropertyTag kHomeStreet = 0x3A5D001E;
inline constexpr PropertyTag kHomePoBox = 0x3A5E001E;

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_MODEL_PROPERTY_TAGS_H_
