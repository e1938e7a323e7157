// Reads and edits INI files line by line. Tested by ini_file_test.cc.
#include "platform/ini_file.h"

#include <algorithm>

#include "base/text.h"

namespace pv::platform {
namespace {

// How long reader and writer wait for another writer of the file.
constexpr std::uint32_t kWaitMilliseconds = 2000;

constexpr std::string_view kBlanks = " \t";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// One line's place in the content; `next` is behind its end-of-line bytes.
struct Line {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t next = 0;
};

Line LineAt(std::string_view content, std::size_t begin) {
  Line line{begin, content.find('\n', begin), 0};
  if (line.end == std::string_view::npos) {
    line.end = line.next = content.size();
  } else {
    line.next = line.end + 1;
  }
  while (line.end > begin && content[line.end - 1] == '\r') --line.end;
  return line;
}

// Where a section and a key in it stand.
struct Place {
  bool has_section = false;
  bool has_key = false;
  std::size_t value_begin = 0;  // the value's bytes, blanks around it excluded
  std::size_t value_end = 0;
  std::size_t insert_at = 0;  // behind the section's last line that is not blank
};

// The bytes of "=" and of blanks are never second bytes of a pair in the double-byte pages, but
// "[" and "]" can be: those are looked for in decoded text.
Place Find(std::string_view content, std::string_view section, std::string_view key,
           const CodePage& page) {
  Place place;
  for (std::size_t pos = 0; pos < content.size();) {
    const Line line = LineAt(content, pos);
    pos = line.next;
    const std::string_view text = Trim(content.substr(line.begin, line.end - line.begin));
    if (text.empty()) continue;
    if (text.front() == '[') {
      if (place.has_section) return place;
      const std::string decoded = page.Decode(text.substr(1));
      const std::string_view name = Trim(std::string_view(decoded).substr(0, decoded.find(']')));
      place.has_section = EqualsIgnoreCase(name, section);
      place.insert_at = line.next;
      continue;
    }
    if (!place.has_section) continue;
    place.insert_at = line.next;
    const std::size_t equals = text.find('=');
    if (text.front() == ';' || equals == std::string_view::npos) continue;
    if (!EqualsIgnoreCase(page.Decode(Trim(text.substr(0, equals))), key)) continue;
    const auto text_begin = static_cast<std::size_t>(text.data() - content.data());
    const std::size_t first = content.find_first_not_of(kBlanks, text_begin + equals + 1);
    place.has_key = true;
    place.value_end = text_begin + text.size();
    place.value_begin = std::min(first, place.value_end);
    return place;
  }
  return place;
}

bool HasAnyOf(std::string_view text, std::string_view set) {
  return text.find_first_of(set) != std::string_view::npos;
}

}  // namespace

std::optional<std::string> ReadIniValue(std::string_view content, std::string_view section,
                                        std::string_view key, const CodePage& page) {
  const Place place = Find(content, Trim(section), Trim(key), page);
  if (!place.has_key) return std::nullopt;
  std::string_view value = content.substr(place.value_begin, place.value_end - place.value_begin);
  if (value.size() >= 2 && value.front() == value.back() &&
      (value.front() == '"' || value.front() == '\'')) {
    value = value.substr(1, value.size() - 2);
  }
  return page.Decode(value);
}

Result<std::string> WriteIniValue(std::string_view content, std::string_view section,
                                  std::string_view key, std::string_view value,
                                  const CodePage& page) {
  constexpr std::string_view kNeverInNames("]\r\n\0", 4);
  constexpr std::string_view kNeverInValues("\r\n\0", 3);
  section = Trim(section);
  key = Trim(key);
  if (section.empty() || HasAnyOf(section, kNeverInNames) || !page.CanEncode(section)) {
    return Status::Invalid("a settings section cannot have the name \"" + std::string(section) +
                           "\"");
  }
  if (key.empty() || HasAnyOf(key, kNeverInNames) || HasAnyOf(key, "=") || key.front() == ';' ||
      key.front() == '[' || !page.CanEncode(key)) {
    return Status::Invalid("a settings key cannot have the name \"" + std::string(key) + "\"");
  }
  if (HasAnyOf(value, kNeverInValues)) {
    return Status::Invalid("the value of the setting \"" + std::string(key) +
                           "\" has a line break or a zero character");
  }
  const std::string encoded = page.Encode(value);
  const Place place = Find(content, section, key, page);
  std::string result(content);
  if (place.has_key) {
    result.replace(place.value_begin, place.value_end - place.value_begin, encoded);
    return result;
  }
  const std::size_t first_end = content.find('\n');
  const bool bare =
      first_end != std::string_view::npos && (first_end == 0 || content[first_end - 1] != '\r');
  const std::string_view line_end = bare ? "\n" : "\r\n";
  std::string added;
  const std::size_t at = place.has_section ? place.insert_at : content.size();
  if (at > 0 && content[at - 1] != '\n') added += line_end;
  if (!place.has_section) added.append("[").append(page.Encode(section)).append("]") += line_end;
  added.append(page.Encode(key)).append("=").append(encoded) += line_end;
  result.insert(at, added);
  return result;
}

std::optional<std::string> IniProfiles::Read(const std::string& file, std::string_view section,
                                             std::string_view key, const CodePage& page) {
  OpenOptions options;
  options.read_only = true;
  const Result<std::unique_ptr<File>> opened = OpenWithin(files_, file, options, kWaitMilliseconds);
  if (!opened.ok()) return std::nullopt;
  const Result<std::string> content = ReadWholeFile(opened->get(), kLargestIniFile);
  if (!content.ok()) return std::nullopt;
  return ReadIniValue(*content, section, key, page);
}

Status IniProfiles::Write(const std::string& file, std::string_view section, std::string_view key,
                          std::string_view value, const CodePage& page) {
  return WriteAll(file, section, {{std::string(key), std::string(value)}}, page);
}

Status IniProfiles::WriteAll(const std::string& file, std::string_view section,
                             const std::vector<ProfileEntry>& entries, const CodePage& page) {
  // Refuses bad names before a file is made for them.
  for (const ProfileEntry& entry : entries) {
    PV_RETURN_IF_ERROR(WriteIniValue("", section, entry.key, entry.value, page).status());
  }
  // Whoever holds the file alone may replace it; the next one opens what replaced it.
  OpenOptions options;
  options.create = CreateMode::kOpenOrCreate;
  options.share = ShareMode::kDenyWrite;
  PV_ASSIGN_OR_RETURN(const std::unique_ptr<File> held,
                      OpenWithin(files_, file, options, kWaitMilliseconds));
  if (held->read_only()) return Status::Denied(file + ": cannot write: the file is read-only");
  PV_ASSIGN_OR_RETURN(const std::string content, ReadWholeFile(held.get(), kLargestIniFile));
  std::string changed = content;
  for (const ProfileEntry& entry : entries) {
    PV_ASSIGN_OR_RETURN(changed, WriteIniValue(changed, section, entry.key, entry.value, page));
  }
  if (changed.size() > kLargestIniFile) {
    return Status::Limit(file + ": would grow beyond " + std::to_string(kLargestIniFile) +
                         " bytes");
  }
  if (changed == content) return Status::Ok();
  return ReplaceFile(files_, file, changed);
}

}  // namespace pv::platform
