// Private-profile (INI) files read and edited as Windows does it, over any file system.
//
//   ; a comment
//   [Section]
//   Key=value
//
// Section and key names are compared without regard to letter case. The first section of a name
// counts, and in it the first line with the key. Blanks and tabs around names and values mean
// nothing; one pair of quotes around a value is taken off. What stands before the first section,
// comments and lines without "=" are kept and otherwise passed over.
#ifndef PV_PLATFORM_INI_FILE_H_
#define PV_PLATFORM_INI_FILE_H_

#include <optional>
#include <string>
#include <string_view>

#include "base/code_page.h"
#include "base/status.h"
#include "platform/system.h"

namespace pv::platform {

// The largest file that is read or written, in bytes.
constexpr std::uint64_t kLargestIniFile = std::uint64_t{16} << 20;

// The value of a key in a file's content, as UTF-8; nothing when section or key is missing.
// `content` is in `page`, names are UTF-8.
std::optional<std::string> ReadIniValue(std::string_view content, std::string_view section,
                                        std::string_view key, const CodePage& page);

// The content with one value set; every other line keeps its bytes. A key that exists keeps its
// spelling; a new one goes after the last line of its section that is not blank, a new section to
// the end. Line ends follow the file's first one, CR LF when there is none. kInvalid for names
// that would not be read back (empty, with a line break or zero, "]" in either, "=" in a key or
// ";" or "[" at its front, characters that the page lacks) and values with a line break or zero.
// Characters of the value that the page lacks become "?".
Result<std::string> WriteIniValue(std::string_view content, std::string_view section,
                                  std::string_view key, std::string_view value,
                                  const CodePage& page);

// The Profiles seam over the two. Writers of one file wait for each other, so that none loses
// what another has set; a reader sees the file before or after a change.
class IniProfiles : public Profiles {
 public:
  // `files` must outlive it.
  explicit IniProfiles(FileSystem* files) : files_(files) {}

  std::optional<std::string> Read(const std::string& file, std::string_view section,
                                  std::string_view key, const CodePage& page) override;
  Status Write(const std::string& file, std::string_view section, std::string_view key,
               std::string_view value, const CodePage& page) override;
  Status WriteAll(const std::string& file, std::string_view section,
                  const std::vector<ProfileEntry>& entries, const CodePage& page) override;

 private:
  FileSystem* const files_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_INI_FILE_H_
