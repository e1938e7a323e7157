// The values behind the Settings class, for the other classes of the component. Each function
// throws automation::Error 5 when a setting is there and cannot be used.
#ifndef PV_SUPPORT_CONFIGURATION_H_
#define PV_SUPPORT_CONFIGURATION_H_

#include <cstdint>
#include <memory>
#include <string>

#include "base/code_page.h"

namespace pv::support {

// The group data folder, ending in "\"; it may not exist yet.
std::string GroupDataFolder();

// What the host sets for this apartment; "" and 0 take it back.
void SetHostGroupDataFolder(const std::string& folder);
void SetHostCodePage(std::int32_t number);

// The ANSI code page of tables and settings files.
std::int32_t CodePageNumber();
std::shared_ptr<const CodePage> CurrentCodePage();

}  // namespace pv::support

#endif  // PV_SUPPORT_CONFIGURATION_H_
