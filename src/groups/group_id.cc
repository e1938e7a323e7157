// Keeps group IDs from naming files that are no group's. Tested by group_id_test.cc.
#include "groups/group_id.h"

#include <array>

#include "base/text.h"
#include "pvgroupman/automation/error.h"
#include "support/application.h"

namespace pv::groups {
namespace {

constexpr std::array kDevices = {"CON",  "PRN",  "AUX",  "NUL",  "CLOCK$", "CONIN$", "CONOUT$",
                                 "COM0", "COM1", "COM2", "COM3", "COM4",   "COM5",   "COM6",
                                 "COM7", "COM8", "COM9", "LPT0", "LPT1",   "LPT2",   "LPT3",
                                 "LPT4", "LPT5", "LPT6", "LPT7", "LPT8",   "LPT9"};

// They lie in the group data folder under the same extension.
constexpr std::array kOwnTables = {"groups",  "DataSrc", "GroupADO",
                                   "AddrSrc", "AddrCat", "AddrDist"};

template <typename Names>
bool Contains(const Names& names, std::string_view id) {
  for (const char* name : names) {
    if (EqualsIgnoreCase(name, id)) return true;
  }
  return false;
}

}  // namespace

std::string WhyNotInFileNames(std::string_view id) {
  if (id.empty()) return "is empty";
  if (Utf16Length(id) > kLongestGroupId) return "has more than 32 characters";
  if (std::string why = support::WhyNotPartOfFileName(id); !why.empty()) return why;
  if (id.find_first_not_of('.') == std::string_view::npos) return "consists of points alone";
  if (id.back() == '.' || id.back() == ' ') return "ends in a point or a blank";
  // A device keeps its meaning whatever extension follows.
  if (Contains(kDevices, TrimRight(id.substr(0, id.find('.'))))) return "is the name of a device";
  if (Contains(kOwnTables, id)) return "is the name of one of the component's own tables";
  return {};
}

void CheckGroupId(const std::string& id) {
  const std::string why = WhyNotInFileNames(id);
  if (why.empty()) return;
  throw automation::Error(automation::kErrInvalidCall, "CheckGroupId",
                          "The group ID \"" + id + "\" " + why + ".");
}

}  // namespace pv::groups
