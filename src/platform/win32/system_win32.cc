// Settings, process and code pages on Windows. Tested by system_test.cc and code_pages_test.cc.
#include <objbase.h>
#include <shlobj.h>

#include <algorithm>
#include <map>
#include <mutex>

#include "base/bytes.h"
#include "base/text.h"
#include "platform/ini_file.h"
#include "platform/system.h"
#include "platform/win32/file_system_win32.h"
#include "platform/win32/registry_win32.h"
#include "platform/win32/trace_windows_win32.h"
#include "platform/win32/windows_api.h"

namespace pv::platform {
namespace {

// An address that the module of this code is found by.
const char kInThisFile = 0;

// The profile functions look for a name without a folder in the Windows folder, so the path must
// be absolute; they know only ANSI file names.
Result<std::string> ProfilePath(const std::string& file) {
  PV_ASSIGN_OR_RETURN(const std::wstring wide, WidePath(file));
  bool lossy = false;
  std::string ansi = AnsiFromUtf8(Utf8FromWide(wide), &lossy);
  if (lossy) {
    return Status::Invalid(file + ": the system's code page lacks characters of the name");
  }
  return ansi;
}

class Win32Profiles : public Profiles {
 public:
  std::optional<std::string> Read(const std::string& file, std::string_view section,
                                  std::string_view key, const CodePage& page) override {
    const Result<std::string> path = ProfilePath(file);
    if (!path.ok()) return std::nullopt;
    const std::string section_bytes = page.Encode(section);
    const std::string key_bytes = page.Encode(key);
    // A default that no value can be tells a missing key from an empty value.
    constexpr const char* kMissing = "\x01";
    std::string value(2048, '\0');
    for (;;) {
      const DWORD size =
          ::GetPrivateProfileStringA(section_bytes.c_str(), key_bytes.c_str(), kMissing,
                                     value.data(), static_cast<DWORD>(value.size()), path->c_str());
      if (size + 1 < value.size() || value.size() > kLargestIniFile) {
        value.resize(size);
        break;
      }
      value.resize(value.size() * 2);
    }
    if (value == kMissing) return std::nullopt;
    return page.Decode(value);
  }

  Status Write(const std::string& file, std::string_view section, std::string_view key,
               std::string_view value, const CodePage& page) override {
    PV_RETURN_IF_ERROR(WriteIniValue("", section, key, value, page).status());
    PV_ASSIGN_OR_RETURN(const std::string path, ProfilePath(file));
    if (!::WritePrivateProfileStringA(page.Encode(section).c_str(), page.Encode(key).c_str(),
                                      page.Encode(value).c_str(), path.c_str())) {
      return FromWindowsError(::GetLastError(), file, "cannot write a setting");
    }
    // Writes out what the system may have kept back.
    ::WritePrivateProfileStringA(nullptr, nullptr, nullptr, path.c_str());
    return Status::Ok();
  }
};

class Win32Process : public Process {
 public:
  std::optional<std::string> Environment(const std::string& name) override {
    const std::wstring wide = WideFromUtf8(name);
    std::wstring value(256, L'\0');
    for (;;) {
      ::SetLastError(ERROR_SUCCESS);
      const DWORD size =
          ::GetEnvironmentVariableW(wide.c_str(), value.data(), static_cast<DWORD>(value.size()));
      if (size == 0 && ::GetLastError() != ERROR_SUCCESS) return std::nullopt;
      const bool fits = size < value.size();
      value.resize(size);
      if (fits) return Utf8FromWide(value);
    }
  }

  std::string ExpandEnvironment(const std::string& text) override {
    const std::string ansi = AnsiFromUtf8(text, nullptr);
    std::string expanded(256, '\0');
    for (;;) {
      const DWORD size = ::ExpandEnvironmentStringsA(ansi.c_str(), expanded.data(),
                                                     static_cast<DWORD>(expanded.size()));
      if (size == 0) return text;
      const bool fits = size <= expanded.size();
      expanded.resize(size);
      if (fits) break;
    }
    return Utf8FromAnsi(expanded.substr(0, expanded.find('\0')));
  }

  std::string HostFolder() override { return std::string(FolderOf(ExecutablePath())); }

  std::string HostName() override {
    std::string name(NameOf(ExecutablePath()));
    if (EqualsIgnoreCase(ExtensionOf(name), ".exe")) name.resize(name.size() - 4);
    return name;
  }

  std::string OwnFolder() override {
    HMODULE module = nullptr;
    if (!::GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(&kInThisFile), &module)) {
      return HostFolder();
    }
    return std::string(FolderOf(ModulePath(module)));
  }

  Result<void*> LoadFunction(const std::string& library, const std::string& name) override {
    // A name without a folder would be sought wherever the system keeps libraries.
    if (FolderOf(library).empty()) return Status::Invalid(library + ": the library needs a path");
    PV_ASSIGN_OR_RETURN(const std::wstring path, WidePath(library));
    if (::GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
      return FromWindowsError(::GetLastError(), library, "cannot load");
    }
    const HMODULE module = ::LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
      const Status failed = FromWindowsError(::GetLastError(), library, "cannot load");
      return Status(StatusCode::kUnsupported, failed.message(), failed.detail());
    }
    const FARPROC address = ::GetProcAddress(module, name.c_str());
    if (address == nullptr) return Status::Unsupported(library + ": no function " + name);
    return reinterpret_cast<void*>(address);
  }

  Result<void*> LoadSystemFunction(const std::string& library, const std::string&) override {
    return Status::Unsupported(library + ": there are no such libraries on this system");
  }

  std::string ConfigFolder() override { return LocalApplicationData(); }
  std::string DataFolder() override { return LocalApplicationData(); }

  CivilDateTime LocalTime() override {
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    return {{now.wYear, now.wMonth, now.wDay}, now.wHour, now.wMinute, now.wSecond};
  }

  std::optional<std::array<std::uint8_t, 16>> NewIdentifier() override {
    GUID guid;
    if (FAILED(::CoCreateGuid(&guid))) return std::nullopt;
    std::array<std::uint8_t, 16> id;
    StoreBe32(id.data(), guid.Data1);
    StoreBe16(id.data() + 4, guid.Data2);
    StoreBe16(id.data() + 6, guid.Data3);
    std::copy(std::begin(guid.Data4), std::end(guid.Data4), id.begin() + 8);
    return id;
  }

  void ShowMessage(std::string_view title, std::string_view text) override {
    ::MessageBoxA(nullptr, AnsiFromUtf8(text, nullptr).c_str(),
                  AnsiFromUtf8(title, nullptr).c_str(), MB_OK);
  }

 private:
  static std::string ExecutablePath() { return ModulePath(nullptr); }

  // The file of a module; null stands for the executable.
  static std::string ModulePath(HMODULE module) {
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
      const DWORD size = ::GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
      if (size < path.size()) {
        path.resize(size);
        return Utf8FromWide(path);
      }
      path.resize(path.size() * 2);  // perhaps cut: ask again with room to spare
    }
  }

  static std::string LocalApplicationData() {
    wchar_t path[MAX_PATH];
    if (FAILED(
            ::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path))) {
      return {};
    }
    return Utf8FromWide(path);
  }
};

class Win32CodePages : public CodePages {
 public:
  Result<std::shared_ptr<const CodePage>> Load(int number) override {
    if (number == 1252) return CodePage::Windows1252();
    const std::lock_guard<std::mutex> guard(mutex_);
    if (const auto it = loaded_.find(number); it != loaded_.end()) return it->second;
    CPINFO info;
    // Small numbers stand for pages that depend on the user, or for symbols.
    if (number < 100 || !::GetCPInfo(static_cast<UINT>(number), &info) || info.MaxCharSize > 2) {
      return Status::Unsupported("code page " + std::to_string(number) + " is not known");
    }
    const auto convert = [&](const char* bytes, int size) {
      wchar_t out[2];
      const int count = ::MultiByteToWideChar(static_cast<UINT>(number), MB_ERR_INVALID_CHARS,
                                              bytes, size, out, 2);
      return count == 1 ? static_cast<char32_t>(out[0]) : CodePage::kUndefined;
    };
    // Bytes that the published table leaves open have characters too, which a strict conversion
    // refuses: control characters of the same value or some of the private range.
    const auto convert_open = [&](char byte) {
      wchar_t out = 0;
      if (::MultiByteToWideChar(static_cast<UINT>(number), 0, &byte, 1, &out, 1) != 1) {
        return CodePage::kUndefined;
      }
      const bool open = (out >= 0xE000 && out <= 0xF8FF) || out == static_cast<unsigned char>(byte);
      return open ? static_cast<char32_t>(out) : CodePage::kUndefined;
    };
    std::array<char32_t, 256> single;
    std::unordered_map<std::uint16_t, char32_t> pairs;
    for (unsigned b = 0; b < 256; ++b) {
      char bytes[2] = {static_cast<char>(b), 0};
      if (!::IsDBCSLeadByteEx(static_cast<UINT>(number), static_cast<BYTE>(b))) {
        single[b] = convert(bytes, 1);
        if (single[b] == CodePage::kUndefined) single[b] = convert_open(bytes[0]);
        continue;
      }
      single[b] = CodePage::kLeadByte;
      for (unsigned second = 0x40; second < 0xFF; ++second) {
        bytes[1] = static_cast<char>(second);
        const char32_t c = convert(bytes, 2);
        if (c != CodePage::kUndefined)
          pairs.emplace(static_cast<std::uint16_t>(b << 8 | second), c);
      }
    }
    auto page = std::make_shared<const CodePage>(number, single, std::move(pairs));
    loaded_[number] = page;
    return std::shared_ptr<const CodePage>(std::move(page));
  }

  int SystemPage() override {
    // A process may have UTF-8 as its ANSI page, which is no page of one or two bytes.
    const UINT page = ::GetACP();
    CPINFO info;
    return ::GetCPInfo(page, &info) && info.MaxCharSize <= 2 ? static_cast<int>(page) : 1252;
  }

 private:
  std::mutex mutex_;
  std::map<int, std::shared_ptr<const CodePage>> loaded_;
};

struct Win32System {
  Win32FileSystem files;
  Win32Profiles profiles;
  Win32Process process;
  Win32CodePages code_pages;
  Win32TraceWindows trace_windows;
  std::unique_ptr<Registry> registry = MakeWin32Registry();
  System seams{&files, &profiles, &process, &code_pages, &trace_windows, registry.get()};
};

}  // namespace

const System& OperatingSystem() {
  // Never destroyed: objects that die at the process's end may still write through it.
  static const Win32System* const system = new Win32System;
  return system->seams;
}

}  // namespace pv::platform
