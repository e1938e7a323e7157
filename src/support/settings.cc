// The Settings class. Tested by settings_test.cc.
#include "pvgroupman/support/settings.h"

#include "pvgroupman/automation/member_table.h"
#include "support/configuration.h"

namespace pv::support {

std::string Settings::GetGroupDataFolder() const { return GroupDataFolder(); }

void Settings::SetGroupDataFolder(const std::string& NewValue) { SetHostGroupDataFolder(NewValue); }

std::int32_t Settings::GetCodePage() const { return CodePageNumber(); }

void Settings::SetCodePage(std::int32_t NewValue) { SetHostCodePage(NewValue); }

const automation::MemberTable& Settings::Members() const {
  static const automation::MemberTable table =
      automation::Class(kClassName)
          .Property("GroupDataFolder", &Settings::GetGroupDataFolder, &Settings::SetGroupDataFolder)
          .Property("CodePage", &Settings::GetCodePage, &Settings::SetCodePage);
  return table;
}

}  // namespace pv::support
