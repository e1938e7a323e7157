// The text form of a registry, read and written whole.
//
//   pvgroup registry 1
//
//   [HKEY_CURRENT_USER\Software\Parvane]
//   @ = text "the default value"
//   "Folder" = expand "%HOME%/groups"
//   "Count" = number 42
//   "Key" = bytes(3) 00 1F FF
//
// UTF-8. In quotes "\" stands before "\", "\"", n, r, t and xHH (a control character by its
// number); a text has no zero but the one that closes it and is not written. What fits none of the
// forms is bytes(TYPE). A key without values is written when no other line names it. A file with no
// bytes at all is an empty registry.
#ifndef PV_PLATFORM_REGISTRY_TEXT_H_
#define PV_PLATFORM_REGISTRY_TEXT_H_

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/status.h"
#include "platform/registry.h"

namespace pv::platform {

constexpr std::size_t kLongestKeyName = 255;       // UTF-16 code units
constexpr std::size_t kLongestValueName = 16'383;  // UTF-16 code units
constexpr std::size_t kDeepestKey = 512;           // names in a path, the root's included

// One key. Keys below it are in the order of their names in capitals, values in the order in which
// they came.
struct RegistryNode {
  std::string name;
  std::vector<std::pair<std::string, RegistryValue>> values;
  std::map<std::string, std::unique_ptr<RegistryNode>> keys;

  RegistryNode* FindKey(std::string_view key) const;
  RegistryNode* FindOrAddKey(std::string_view key);
  // A position in `values`, or their number when there is none of the name.
  std::size_t FindValue(std::string_view value) const;
};

// Whether a key or value may have the name: well-formed, not too long, without control characters
// (keys) or zeros (values), a key's not empty and without "\".
bool IsKeyName(std::string_view name);
bool IsValueName(std::string_view name);

// Whether a predefined key of this name ("HKEY_CURRENT_USER") has a part of its own in the file.
bool IsStoredRoot(std::string_view name);

// kCorrupt naming `file`, the line and the reason for anything that is not of this form; blanks
// and blank lines mean nothing. The root node has no name; the predefined keys are below it.
Result<std::unique_ptr<RegistryNode>> ReadRegistryText(std::string_view text,
                                                       const std::string& file);

std::string WriteRegistryText(const RegistryNode& root);

}  // namespace pv::platform

#endif  // PV_PLATFORM_REGISTRY_TEXT_H_
