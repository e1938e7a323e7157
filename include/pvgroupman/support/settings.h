// Settings that the host, the environment or the user gives to the component.
#ifndef PVGROUPMAN_SUPPORT_SETTINGS_H_
#define PVGROUPMAN_SUPPORT_SETTINGS_H_

#include <cstdint>
#include <string>

#include "pvgroupman/automation/api.h"
#include "pvgroupman/automation/object.h"

namespace pv::support {

// Where the group data lies and which ANSI code page tables are made in. Every object of the
// class shows the same settings: what a host sets through one holds for the whole apartment.
//
// Each setting is taken from the first of: the value that the host set; the environment; the
// user's configuration file, config.ini in the folder pvgroup below $XDG_CONFIG_HOME (section
// "Settings"); a default. Nothing is created by reading.
class PV_API Settings : public automation::Object {
 public:
  static constexpr const char* kClassName = "Settings";

  // The folder of the group catalogue and of groups without a folder of their own, ending in
  // "\". Environment variable PVGROUP_DATA, key GroupDataFolder, default pvgroup below
  // $XDG_DATA_HOME. It may not exist yet; it is made (for its owner alone) with the first table.
  std::string GetGroupDataFolder() const;

  // Sets the folder for this apartment, with or without the final separator; "" goes back to the
  // environment, the file and the default.
  void SetGroupDataFolder(const std::string& NewValue);

  // Number of the ANSI code page in which tables are made, and in which tables without a mark of
  // their own are read. Environment variable PVGROUP_CODEPAGE, key CodePage, default the
  // system's page (1252 where it has none). Error 5 when what is set there is no number of a
  // known page.
  std::int32_t GetCodePage() const;

  // Sets the page for this apartment; 0 goes back to the environment, the file and the default.
  // Error 5 for a page that the system does not know.
  void SetCodePage(std::int32_t NewValue);

  const automation::MemberTable& Members() const override;
};

}  // namespace pv::support

#endif  // PVGROUPMAN_SUPPORT_SETTINGS_H_
