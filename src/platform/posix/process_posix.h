// The running process on POSIX systems.
#ifndef PV_PLATFORM_POSIX_PROCESS_POSIX_H_
#define PV_PLATFORM_POSIX_PROCESS_POSIX_H_

#include "platform/system.h"

namespace pv::platform {

class PosixProcess : public Process {
 public:
  std::optional<std::string> Environment(const std::string& name) override;
  std::string HostFolder() override;
  std::string HostName() override;
  std::string OwnFolder() override;
  Result<void*> LoadFunction(const std::string& library, const std::string& name) override;
  Result<void*> LoadSystemFunction(const std::string& library, const std::string& name) override;
  std::string ConfigFolder() override;
  std::string DataFolder() override;
  CivilDateTime LocalTime() override;
  std::optional<std::array<std::uint8_t, 16>> NewIdentifier() override;
  void ShowMessage(std::string_view title, std::string_view text) override;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_PROCESS_POSIX_H_
