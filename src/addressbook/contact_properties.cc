// Tags and names of contact properties. Tested by ab_fields_test.cc.
#include "addressbook/contact_properties.h"

#include <algorithm>

namespace pv::addressbook {
namespace {

constexpr ContactProperty kProperties[] = {
    {0x3002001E, "Address Type", "AddressType"},
    {0x3A30001E, "Assistant", "Assistant"},
    {0x3A2E001E, "Assistant Telephone Number", "AssistantPhone"},
    {0x3A420040, "Birthday", "Birthday"},
    {0x3A1B001E, "Business2 Telephone Number", "Business2Phone"},
    {0x3A27001E, "Business Address City", "BusinessCity"},
    {0x3A26001E, "Business Address Country", "BusinessCountry"},
    {0x3A2B001E, "Business Address PO Box", "BusinessPOBox"},
    {0x3A2A001E, "Business Address Postal Code", "BusinessPostalCode"},
    {0x3A28001E, "Business Address State or Province", "BusinessState"},
    {0x3A29001E, "Business Address Street", "BusinessStreet"},
    {0x3A24001E, "Business Fax Number", "BusinessFax"},
    {0x3A51001E, "Business Home Page", "BusinessHomePage"},
    {0x3A08001E, "Business Telephone Number", "BusinessPhone"},
    {0x3A02001E, "Callback Telephone Number", "CallbackPhone"},
    {0x3A1E001E, "Car Telephone Number", "CarPhone"},
    {0x3A1C001E, "Cellular Telephone Number", "CellPhone"},
    {0x3A58101E, "Childrens Names", "ChildrensNames"},
    {0x3004001E, "Comment", "Comment"},
    {0x3A57001E, "Company Main Phone Number", "CompanyMainPhone"},
    {0x3A16001E, "Company Name", "Company"},
    {0x3A49001E, "Computer Network Name", "ComputerNetwork"},
    {0x3A4A001E, "CustomerID", "CustomerID"},
    {0x3A18001E, "Department Name", "Department"},
    {0x3001001E, "Display Name", "DisplayName"},
    {0x3A45001E, "Display Name Prefix", "DisplayNamePrefix"},
    {0x3003001E, "Email Address", "Email"},
    {0x0FFF0102, "EntryID", "EntryID"},
    {0x3A4C001E, "FTP Site", "FTPSite"},
    {0x3A05001E, "Generation", "Generation"},
    {0x3A06001E, "Given Name", "GivenName"},
    {0x3A07001E, "Government ID Number", "GovernmentID"},
    {0x3A43001E, "Hobbies", "Hobbies"},
    {0x3A2F001E, "Home2 Telephone Number", "Home2Phone"},
    {0x3A59001E, "Home Address City", "HomeCity"},
    {0x3A5A001E, "Home Address Country", "HomeCountry"},
    {0x3A5E001E, "Home Address Post Office Box", "HomePOBox"},
    {0x3A5B001E, "Home Address Postal Code", "HomePostalCode"},
    {0x3A5C001E, "Home Address State or Province", "HomeState"},
    {0x3A5D001E, "Home Address Street", "HomeStreet"},
    {0x3A25001E, "Home Fax Number", "HomeFax"},
    {0x3A09001E, "Home Telephone Number", "HomePhone"},
    {0x3A0A001E, "Initials", "Initials"},
    {0x3A2D001E, "ISDN Number", "ISDN"},
    {0x3A0B001E, "Keyword", "Keyword"},
    {0x3A0C001E, "Language", "Language"},
    {0x30080040, "Last Modification Time", "LastModification"},
    {0x3A0D001E, "Location", "Location"},
    {0x3A4E001E, "Manager Name", "ManagerName"},
    {0x3A44001E, "Middle Name", "MiddleName"},
    {0x3A4F001E, "Nick Name", "NickName"},
    {0x3A19001E, "Office Location", "OfficeLocation"},
    {0x3A5F001E, "Other Address City", "OtherCity"},
    {0x3A60001E, "Other Address Country", "OtherCountry"},
    {0x3A64001E, "Other Address Post Office Box", "OtherPOBox"},
    {0x3A61001E, "Other Address Postal Code", "OtherPostalCode"},
    {0x3A62001E, "Other Address State or Province", "OtherState"},
    {0x3A63001E, "Other Address Street", "OtherStreet"},
    {0x3A1F001E, "Other Telephone Number", "OtherPhone"},
    {0x3A21001E, "Pager Telephone Number", "Pager"},
    {0x3A50001E, "Personal Home Page", "PersonalHomePage"},
    {0x3A15001E, "Postal Address", "PostalAddress"},
    {0x3A23001E, "Primary Fax Number", "PrimaryFax"},
    {0x3A1A001E, "Primary Telephone Number", "PrimaryPhone"},
    {0x3A46001E, "Profession", "Profession"},
    {0x3A1D001E, "Radio Telephone Number", "RadioPhone"},
    {0x3A48001E, "Spouse Name", "SpouseName"},
    {0x3A11001E, "Surname", "Surname"},
    {0x3A2C001E, "Telex Number", "Telex"},
    {0x3A17001E, "Title", "Title"},
    {0x3A20001E, "Transmitable Display Name", "TransmitableDisplayName"},
    {0x3A4B001E, "TTYTDD Phone Number", "TTYTDDPhone"},
    {0x3A410040, "Wedding Anniversary", "WeddingAnniversary"},
};

}  // namespace

std::span<const ContactProperty> ContactProperties() { return kProperties; }

const ContactProperty* FindContactProperty(std::uint32_t tag) {
  const auto* const at = std::find_if(std::begin(kProperties), std::end(kProperties),
                                      [tag](const auto& property) { return property.tag == tag; });
  return at == std::end(kProperties) ? nullptr : at;
}

}  // namespace pv::addressbook
