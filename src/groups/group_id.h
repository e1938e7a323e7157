// Group IDs as parts of file names.
#ifndef PV_GROUPS_GROUP_ID_H_
#define PV_GROUPS_GROUP_ID_H_

#include <string>
#include <string_view>

namespace pv::groups {

// Most characters of an ID; the catalogue's field is as wide.
constexpr std::size_t kLongestGroupId = 32;

// Why files cannot be named by an ID, as the end of the sentence "The group ID ... "; "" when they
// can. Refused are what would lead to another folder (separators, colons, points alone), control
// characters and wildcards, names of devices, the names of the component's own tables, and IDs
// that are empty, longer than kLongestGroupId or with a point or blank at the end.
std::string WhyNotInFileNames(std::string_view id);

// Throws error 5 with that sentence.
void CheckGroupId(const std::string& id);

}  // namespace pv::groups

#endif  // PV_GROUPS_GROUP_ID_H_
