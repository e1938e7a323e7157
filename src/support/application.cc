// Utilities of the classes. Tested by application_test.cc.
#include "support/application.h"

#include <exception>
#include <functional>

#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/call.h"
#include "pvgroupman/automation/error.h"
#include "pvgroupman/automation/progid.h"
#include "support/configuration.h"

namespace pv::support {
namespace {

using automation::Value;

// Walks items 1 to Count and stops at the first that `matches`.
bool AnyItem(const automation::Ref<automation::Object>& collection,
             const std::function<bool(const Value&)>& matches) {
  try {
    const std::int32_t count = automation::GetProperty(collection, "Count").ToI4();
    for (std::int32_t i = 1; i <= count; ++i) {
      if (matches(automation::CallMember(collection, "Item", {Value(i)}))) return true;
    }
  } catch (const std::exception&) {
    // An item that cannot be read or compared ends the walk.
  }
  return false;
}

// The end of a sentence, or "".
std::string WhyItDoesNotFit(const std::string& text, std::size_t width) {
  const auto page = CurrentCodePage();
  bool lossy = false;
  const std::size_t bytes = page->Encode(text, &lossy).size();
  if (lossy) {
    return "has characters that code page " + std::to_string(page->number()) + " lacks.";
  }
  if (width == 0 || bytes <= width) return {};
  return "has more than " + std::to_string(width) + " characters.";
}

}  // namespace

std::string ReadSetting(const std::string& file, std::string_view section, std::string_view key,
                        const std::string& fallback) {
  const auto page = CurrentCodePage();
  const std::optional<std::string> value =
      platform::CurrentSystem().profiles->Read(file, section, key, *page);
  if (!value || value->empty() || value->front() == '\0') return fallback;
  std::string bytes = page->Encode(value->substr(0, value->find('\0')));
  if (bytes.size() <= kLongestSetting) return value->substr(0, value->find('\0'));
  bytes.resize(kLongestSetting);
  return page->Decode(bytes);
}

void WriteSetting(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value) {
  (void)platform::CurrentSystem()
      .profiles->Write(file, section, key, value, *CurrentCodePage())
      .ok();
}

bool WriteSettings(const std::string& file, std::string_view section,
                   std::vector<platform::ProfileEntry> entries) {
  const auto page = CurrentCodePage();
  for (platform::ProfileEntry& entry : entries) {
    std::string& value = entry.value;
    if (!page->CanEncode(value) || page->Encode(value).size() > kLongestSetting) return false;
    if (value.find('\0') != std::string::npos) return false;
    // Reading takes blanks and one pair of quotes off.
    const auto is_blank = [](char c) { return c == ' ' || c == '\t'; };
    const auto is_quote = [](char c) { return c == '"' || c == '\''; };
    if (value.empty()) continue;
    if (is_blank(value.front()) || is_blank(value.back()) ||
        (value.size() > 1 && value.front() == value.back() && is_quote(value.front()))) {
      value = '"' + value + '"';
    }
  }
  return platform::CurrentSystem().profiles->WriteAll(file, section, entries, *page).ok();
}

bool FileExists(const std::string& path) {
  const auto info = platform::CurrentSystem().files->Stat(path);
  return info.ok() && !info->is_directory;
}

bool IsFolder(const std::string& path) {
  const auto info = platform::CurrentSystem().files->Stat(path);
  return info.ok() && info->is_directory;
}

void EnsureFolder(const std::string& folder) {
  const Status status = platform::CurrentSystem().files->CreateFolders(folder);
  if (!status.ok()) throw automation::Error(kErrPathAccess, "EnsureFolder", status.message());
}

std::int32_t UpperBound(const Value& array) {
  std::size_t size = 0;
  if (const auto* bytes = array.TryGet<automation::Bytes>()) size = bytes->size();
  if (const auto* texts = array.TryGet<automation::TextArray>()) size = texts->size();
  const auto* records = array.TryGet<std::shared_ptr<const automation::Records>>();
  if (records != nullptr && *records != nullptr) size = (*records)->rows.size();
  return static_cast<std::int32_t>(size);
}

std::string IdentifierText(const std::array<std::uint8_t, 16>& bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::string NewIdentifier() {
  const auto bytes = platform::CurrentSystem().process->NewIdentifier();
  return bytes ? IdentifierText(*bytes) : std::string();
}

bool ContainsText(const automation::Ref<automation::Object>& collection, const std::string& text) {
  return AnyItem(collection, [&](const Value& item) {
    // A text is compared with a number by its size, and with anything else as text.
    if (item.IsNumeric()) return item.ToR8() == Value(text).ToR8();
    if (item.IsNull()) return false;
    return item.ToText() == text;
  });
}

bool ContainsValue(const automation::Ref<automation::Object>& collection, const Value& value) {
  return AnyItem(collection,
                 [&](const Value& item) { return automation::ValuesEqual(item, value); });
}

std::string WithSeparator(std::string folder) {
  if (folder.empty() || folder.back() != '\\') folder += '\\';
  return folder;
}

std::string WhyNotPartOfFileName(std::string_view id) {
  if (id.find_first_of("/\\") != std::string_view::npos) return "contains a path separator";
  if (id.find_first_of(":*?\"<>|") != std::string_view::npos) {
    return "contains a character that file names cannot have";
  }
  for (const char c : id) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) return "contains a control character";
  }
  return IsValidUtf8(id) ? "" : "is not well-formed text";
}

void RequireFits(const char* what, const std::string& text, std::size_t width) {
  const std::string why = WhyItDoesNotFit(text, width);
  if (why.empty()) return;
  throw automation::Error(automation::kErrInvalidCall, {},
                          std::string("The ") + what + " \"" + text + "\" " + why);
}

void RequireFitsUnseen(const char* what, const std::string& text, std::size_t width) {
  const std::string why = WhyItDoesNotFit(text, width);
  if (why.empty()) return;
  throw automation::Error(automation::kErrInvalidCall, {}, std::string("The ") + what + " " + why);
}

const std::string& DataFolder::Path() {
  if (path_.empty()) {
    if (!settings_) settings_ = automation::CreateObject("PVGroupMan.Settings");
    path_ = WithSeparator(automation::GetProperty(settings_, "GroupDataFolder").ToText());
  }
  return path_;
}

}  // namespace pv::support
