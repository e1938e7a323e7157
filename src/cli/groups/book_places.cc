// Looks for address books. Tested by book_places_test.cc.
#include "cli/groups/book_places.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <tuple>

#include "base/text.h"

namespace pv::cli {
namespace {

namespace fs = std::filesystem;

struct Pattern {
  const char* format;
  const char* path;  // below the home folder; "*" stands for any characters of one name
};

constexpr Pattern kPatterns[] = {
    {"MAB", ".thunderbird/*/*.mab"},
    {"MAB", ".mozilla-thunderbird/*/*.mab"},
    {"MAB", ".icedove/*/*.mab"},
    {"MAB", "snap/thunderbird/common/.thunderbird/*/*.mab"},
    {"MAB", ".var/app/org.mozilla.Thunderbird/.thunderbird/*/*.mab"},
    {"MAB", ".mozilla/seamonkey/*/*.mab"},
    {"MAB", ".mozilla/*/*/*.mab"},
    {"PINE", ".addressbook"},
    {"PINE", ".alpine/addressbook"},
    {"ADR", ".opera/contacts.adr"},
    {"ADR", ".opera/*/contacts.adr"},
    {"PALM", ".jpilot/AddressDB.pdb"},
    {"PALM", ".gpilotd/*/AddressDB.pdb"},
    {"PALM", ".kpilot/DBBackup/*/AddressDB.pdb"},
    {"WAB", ".wine/drive_c/users/*/Application Data/Microsoft/Address Book/*.wab"},
    {"WAB", ".wine/drive_c/users/*/AppData/Roaming/Microsoft/Address Book/*.wab"},
    {"EUD", ".wine/drive_c/users/*/Application Data/Qualcomm/Eudora/nndbase.txt"},
    {"EUD", ".wine/drive_c/users/*/AppData/Roaming/Qualcomm/Eudora/nndbase.txt"},
    {"PST", "Documents/Outlook Files/*.pst"},
    {"PST", ".wine/drive_c/users/*/Documents/Outlook Files/*.pst"},
};

// What people export lies where they keep their files.
constexpr const char* kFolders[] = {"", "Documents/", "Downloads/", "Desktop/"};
constexpr Pattern kExports[] = {
    {"LDIF", "*.ldif"}, {"MAB", "*.mab"},          {"WAB", "*.wab"},       {"PST", "*.pst"},
    {"ADR", "*.adr"},   {"PALM", "AddressDB.pdb"}, {"EUD", "nndbase.txt"},
};

// Follows the names of `rest` from `folder` on. What cannot be listed holds nothing.
void Follow(const fs::path& folder, std::string_view rest, const char* format,
            std::vector<BookPlace>* found) {
  const std::size_t slash = rest.find('/');
  const std::string_view name = rest.substr(0, slash);
  const bool last = slash == std::string_view::npos;
  std::error_code error;
  for (fs::directory_iterator at(folder, error); !error && at != fs::directory_iterator();
       at.increment(error)) {
    if (!MatchesPattern(at->path().filename().string(), name)) continue;
    std::error_code ignored;
    if (last && at->is_regular_file(ignored)) found->push_back({format, at->path().string()});
    if (!last && at->is_directory(ignored)) {
      Follow(at->path(), rest.substr(slash + 1), format, found);
    }
  }
}

}  // namespace

bool MatchesPattern(std::string_view name, std::string_view pattern) {
  const std::size_t star = pattern.find('*');
  if (star == std::string_view::npos) return EqualsIgnoreCase(name, pattern);
  const std::string_view front = pattern.substr(0, star);
  const std::string_view back = pattern.substr(star + 1);
  return name.size() >= front.size() + back.size() &&
         EqualsIgnoreCase(name.substr(0, front.size()), front) &&
         EqualsIgnoreCase(name.substr(name.size() - back.size()), back);
}

std::vector<BookPlace> FindBookPlaces(const std::string& home) {
  std::vector<BookPlace> found;
  for (const Pattern& pattern : kPatterns) Follow(home, pattern.path, pattern.format, &found);
  for (const char* folder : kFolders) {
    for (const Pattern& pattern : kExports) {
      Follow(home, std::string(folder) + pattern.path, pattern.format, &found);
    }
  }
  const auto order = [](const BookPlace& place) { return std::tie(place.format, place.path); };
  std::sort(found.begin(), found.end(),
            [&](const auto& a, const auto& b) { return order(a) < order(b); });
  const auto same = [&](const auto& a, const auto& b) { return order(a) == order(b); };
  found.erase(std::unique(found.begin(), found.end(), same), found.end());
  return found;
}

}  // namespace pv::cli
