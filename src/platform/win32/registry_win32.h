// The registry of Windows, through the ANSI functions.
#ifndef PV_PLATFORM_WIN32_REGISTRY_WIN32_H_
#define PV_PLATFORM_WIN32_REGISTRY_WIN32_H_

#include "platform/registry.h"

namespace pv::platform {

class Win32Registry : public Registry {
 public:
  Result<RegistryKey> Connect(const std::string& machine, RegistryKey root) override;
  Result<RegistryKey> Open(RegistryKey parent, const std::string& path,
                           std::uint32_t access) override;
  Result<RegistryKey> Create(RegistryKey parent, const std::string& path,
                             std::uint32_t access) override;
  void Close(RegistryKey key) override;
  Status DeleteKey(RegistryKey parent, const std::string& path) override;
  Status DeleteValue(RegistryKey key, const std::string& name) override;
  Result<RegistryValue> QueryValue(RegistryKey key, const std::string& name) override;
  Status SetValue(RegistryKey key, const std::string& name, const RegistryValue& value) override;
  Result<RegistryInfo> QueryInfo(RegistryKey key) override;
  Result<std::string> EnumKey(RegistryKey key, std::uint32_t index) override;
  Result<std::string> EnumValue(RegistryKey key, std::uint32_t index) override;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_WIN32_REGISTRY_WIN32_H_
