// Error numbers and texts of the address-book classes. Hosts know them: never change one.
#ifndef PV_ADDRESSBOOK_ERRORS_H_
#define PV_ADDRESSBOOK_ERRORS_H_

#include <cstdint>

namespace pv::addressbook {

constexpr std::int32_t kErrCursor = 1234;
constexpr std::int32_t kErrNoSuchSource = 2306;
constexpr std::int32_t kErrBlankId = 2308;
constexpr std::int32_t kErrIdExists = 2410;
constexpr std::int32_t kErrBadFormat = 2411;

constexpr const char* kTextNoSuchSource = "Address Book details can not be located";
constexpr const char* kTextBlankId = "ID not specified for AddressBook Source";
constexpr const char* kTextIdExists = "ID already exists";
constexpr const char* kTextBadFormat = "SourceFormat not valid";
// "Accress" is what hosts have always seen.
constexpr const char* kTextInstanceExists =
    "Cannot create new Accress Book Instance, another instance already exists";
constexpr const char* kTextNoSettings =
    "Cannot create new Accress Book Instance, the saved settings can not be opened, ID=";
constexpr const char* kTextNotReadable =
    "Source application for Address Book format is not Installed/read access is not available.";

}  // namespace pv::addressbook

#endif  // PV_ADDRESSBOOK_ERRORS_H_
