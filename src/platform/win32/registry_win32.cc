// The registry of Windows. Tested by registry_test.cc.
#include "platform/win32/registry_win32.h"

#include "platform/win32/windows_api.h"

namespace pv::platform {
namespace {

// Names are at most 255 and 16,383 characters long, each of two bytes at most.
constexpr DWORD kKeyNameBytes = 2 * 256;
constexpr DWORD kValueNameBytes = 2 * 16'384;

HKEY KeyOf(RegistryKey key) { return reinterpret_cast<HKEY>(key); }

std::string Ansi(const std::string& text) { return AnsiFromUtf8(text, nullptr); }

bool IsText(std::uint32_t type) {
  return type == kRegistryText || type == kRegistryExpandable || type == kRegistryTextList;
}

Status Failed(LSTATUS code, const std::string& name, std::string_view doing) {
  return FromWindowsError(static_cast<DWORD>(code), "registry: " + name, doing);
}

class Win32Registry : public Registry {
 public:
  Result<RegistryKey> Connect(const std::string& machine, RegistryKey root) override {
    HKEY key = nullptr;
    const LSTATUS code = ::RegConnectRegistryA(Ansi(machine).c_str(), KeyOf(root), &key);
    if (code != ERROR_SUCCESS) return Failed(code, machine, "cannot connect");
    return reinterpret_cast<RegistryKey>(key);
  }

  Result<RegistryKey> Open(RegistryKey parent, const std::string& path,
                           std::uint32_t access) override {
    HKEY key = nullptr;
    const LSTATUS code = ::RegOpenKeyExA(KeyOf(parent), Ansi(path).c_str(), 0, access, &key);
    if (code != ERROR_SUCCESS) return Failed(code, path, "cannot open the key");
    return reinterpret_cast<RegistryKey>(key);
  }

  Result<RegistryKey> Create(RegistryKey parent, const std::string& path,
                             std::uint32_t access) override {
    HKEY key = nullptr;
    const LSTATUS code = ::RegCreateKeyExA(KeyOf(parent), Ansi(path).c_str(), 0, nullptr,
                                           REG_OPTION_NON_VOLATILE, access, nullptr, &key, nullptr);
    if (code != ERROR_SUCCESS) return Failed(code, path, "cannot create the key");
    return reinterpret_cast<RegistryKey>(key);
  }

  void Close(RegistryKey key) override { ::RegCloseKey(KeyOf(key)); }

  Status DeleteKey(RegistryKey parent, const std::string& path) override {
    const LSTATUS code = ::RegDeleteKeyA(KeyOf(parent), Ansi(path).c_str());
    return code == ERROR_SUCCESS ? Status::Ok() : Failed(code, path, "cannot delete the key");
  }

  Status DeleteValue(RegistryKey key, const std::string& name) override {
    const LSTATUS code = ::RegDeleteValueA(KeyOf(key), Ansi(name).c_str());
    return code == ERROR_SUCCESS ? Status::Ok() : Failed(code, name, "cannot delete the value");
  }

  Result<RegistryValue> QueryValue(RegistryKey key, const std::string& name) override {
    const std::string ansi = Ansi(name);
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS code = ::RegQueryValueExA(KeyOf(key), ansi.c_str(), nullptr, &type, nullptr, &size);
    RegistryValue value;
    // It may grow between the two calls.
    while (code == ERROR_SUCCESS || code == ERROR_MORE_DATA) {
      value.data.resize(size);
      code = ::RegQueryValueExA(KeyOf(key), ansi.c_str(), nullptr, &type,
                                reinterpret_cast<BYTE*>(value.data.data()), &size);
      if (code == ERROR_SUCCESS) break;
    }
    if (code != ERROR_SUCCESS) return Failed(code, name, "cannot read the value");
    value.data.resize(size);
    value.type = type;
    if (IsText(type)) value.data = Utf8FromAnsi(value.data);
    return value;
  }

  Status SetValue(RegistryKey key, const std::string& name, const RegistryValue& value) override {
    const std::string data = IsText(value.type) ? Ansi(value.data) : value.data;
    const LSTATUS code = ::RegSetValueExA(KeyOf(key), Ansi(name).c_str(), 0, value.type,
                                          reinterpret_cast<const BYTE*>(data.data()),
                                          static_cast<DWORD>(data.size()));
    return code == ERROR_SUCCESS ? Status::Ok() : Failed(code, name, "cannot write the value");
  }

  Result<RegistryInfo> QueryInfo(RegistryKey key) override {
    DWORD values = 0;
    DWORD longest = 0;
    const LSTATUS code = ::RegQueryInfoKeyA(KeyOf(key), nullptr, nullptr, nullptr, nullptr, nullptr,
                                            nullptr, &values, &longest, nullptr, nullptr, nullptr);
    if (code != ERROR_SUCCESS) return Failed(code, "key", "cannot describe");
    return RegistryInfo{values, longest};
  }

  Result<std::string> EnumKey(RegistryKey key, std::uint32_t index) override {
    std::string name(kKeyNameBytes, '\0');
    DWORD size = kKeyNameBytes;
    const LSTATUS code =
        ::RegEnumKeyExA(KeyOf(key), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (code != ERROR_SUCCESS) return Failed(code, "key", "cannot list the keys");
    name.resize(size);
    return Utf8FromAnsi(name);
  }

  Result<std::string> EnumValue(RegistryKey key, std::uint32_t index) override {
    std::string name(kValueNameBytes, '\0');
    DWORD size = kValueNameBytes;
    const LSTATUS code =
        ::RegEnumValueA(KeyOf(key), index, name.data(), &size, nullptr, nullptr, nullptr, nullptr);
    if (code != ERROR_SUCCESS) return Failed(code, "key", "cannot list the values");
    name.resize(size);
    return Utf8FromAnsi(name);
  }
};

}  // namespace

std::unique_ptr<Registry> MakeWin32Registry() { return std::make_unique<Win32Registry>(); }

}  // namespace pv::platform
