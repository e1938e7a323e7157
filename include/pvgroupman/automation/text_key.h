// Hash and equality of texts without regard to letter case, for hash tables that are searched
// with a std::string_view and so without making a string.
#ifndef PVGROUPMAN_AUTOMATION_TEXT_KEY_H_
#define PVGROUPMAN_AUTOMATION_TEXT_KEY_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include "pvgroupman/automation/api.h"

namespace pv::automation {

// Equal for texts that differ in letter case only.
struct PV_API TextKeyHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept;
};

// True for texts that differ in letter case only, whatever their script.
struct PV_API TextKeyEqual {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const noexcept;
};

// A hash table keyed so; find() takes a std::string_view.
template <typename T>
using TextKeyMap = std::unordered_map<std::string, T, TextKeyHash, TextKeyEqual>;

}  // namespace pv::automation

#endif  // PVGROUPMAN_AUTOMATION_TEXT_KEY_H_
