// Where settings come from. Tested by settings_test.cc.
#include "support/configuration.h"

#include <charconv>

#include "base/text.h"
#include "platform/system.h"
#include "pvgroupman/automation/error.h"

namespace pv::support {
namespace {

constexpr const char* kSection = "Settings";
constexpr const char* kSource = "Settings";

struct HostValues {
  std::string group_data_folder;
  std::int32_t code_page = 0;
};

HostValues& Host() {
  static thread_local HostValues values;
  return values;
}

// A key of the user's configuration file; "" when there is none. The file is UTF-8, but one that
// is not is read as Windows-1252.
std::string FromFile(std::string_view key) {
  const platform::System& system = platform::CurrentSystem();
  const std::string folder = system.process->ConfigFolder();
  if (folder.empty()) return {};
  const auto page = CodePage::Windows1252();  // keeps every byte as it is, there and back
  const auto value =
      system.profiles->Read(platform::JoinPath(folder, "pvgroup/config.ini"), kSection, key, *page);
  if (!value) return {};
  std::string bytes = page->Encode(*value);
  return IsValidUtf8(bytes) ? bytes : *value;
}

std::string FromEnvironment(const std::string& name) {
  return platform::CurrentSystem().process->Environment(name).value_or(std::string());
}

[[noreturn]] void Refuse(const std::string& why) {
  throw automation::Error(automation::kErrInvalidCall, kSource, why);
}

// A page in which tables can be written: their mark must be able to name it.
Result<std::shared_ptr<const CodePage>> LoadPage(int number) {
  PV_ASSIGN_OR_RETURN(auto page, platform::CurrentSystem().code_pages->Load(number));
  if (MarkFromCodePage(number) == 0) {
    return Status::Unsupported("tables cannot be in code page " + std::to_string(number));
  }
  return page;
}

// The page that a setting's text names; `origin` tells a person where the text stands.
std::shared_ptr<const CodePage> PageOfText(const std::string& text, const std::string& origin) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    Refuse(origin + " is \"" + text + "\", which is no code page number");
  }
  auto page = LoadPage(number);
  if (!page.ok()) Refuse(origin + ": " + page.status().message());
  return *page;
}

}  // namespace

std::string GroupDataFolder() {
  std::string folder = Host().group_data_folder;
  if (folder.empty()) folder = FromEnvironment("PVGROUP_DATA");
  if (folder.empty()) folder = FromFile("GroupDataFolder");
  if (folder.empty()) {
    const std::string data = platform::CurrentSystem().process->DataFolder();
    if (data.empty()) Refuse("no group data folder is set, and there is no home folder");
    folder = platform::JoinPath(data, "pvgroup");
  }
  if (folder.back() == '/') folder.pop_back();
  if (folder.empty() || folder.back() != '\\') folder += '\\';
  return folder;
}

void SetHostGroupDataFolder(const std::string& folder) { Host().group_data_folder = folder; }

void SetHostCodePage(std::int32_t number) {
  if (number != 0) {
    const auto page = LoadPage(number);
    if (!page.ok()) Refuse(page.status().message());
  }
  Host().code_page = number;
}

std::shared_ptr<const CodePage> CurrentCodePage() {
  platform::CodePages* const pages = platform::CurrentSystem().code_pages;
  int number = Host().code_page;
  if (number == 0) {
    const std::string variable = FromEnvironment("PVGROUP_CODEPAGE");
    if (!variable.empty()) return PageOfText(variable, "PVGROUP_CODEPAGE");
    const std::string key = FromFile("CodePage");
    if (!key.empty()) return PageOfText(key, "CodePage of the configuration file");
    number = pages->SystemPage();
  }
  auto page = pages->Load(number);
  if (!page.ok()) Refuse(page.status().message());
  return *page;
}

std::int32_t CodePageNumber() { return CurrentCodePage()->number(); }

}  // namespace pv::support
