// The registry seam: a tree of keys with typed values, as Windows has it. Elsewhere a text file of
// the user's stands for it (registry_file.h).
//
// Names are UTF-8 and compared without regard to letter case; parts of a key's path are parted by
// "\". The data of the text types (kText, kExpandable, kTextList) is UTF-8 with its closing zeros
// here, and in the ANSI code page where the system keeps it. A failure's detail() is the number
// that the Windows function returns.
#ifndef PV_PLATFORM_REGISTRY_H_
#define PV_PLATFORM_REGISTRY_H_

#include <cstdint>
#include <string>

#include "base/status.h"

namespace pv::platform {

// An open key, or one of the predefined ones; these are 32-bit numbers, widened with their sign.
using RegistryKey = std::intptr_t;

constexpr RegistryKey kClassesRoot = static_cast<std::int32_t>(0x80000000U);
constexpr RegistryKey kCurrentUser = static_cast<std::int32_t>(0x80000001U);
constexpr RegistryKey kLocalMachine = static_cast<std::int32_t>(0x80000002U);
constexpr RegistryKey kUsers = static_cast<std::int32_t>(0x80000003U);
constexpr RegistryKey kCurrentConfig = static_cast<std::int32_t>(0x80000005U);

// What a key is opened for.
enum RegistryAccess : std::uint32_t {
  kRegistryQuery = 1,
  kRegistryRead = 0x20019,
  kRegistryAll = 63,
};

// Value types; any other number is kept as it is. Stored: never change.
enum RegistryType : std::uint32_t {
  kRegistryText = 1,
  kRegistryExpandable = 2,  // text with %NAME% in it
  kRegistryBinary = 3,
  kRegistryNumber = 4,           // four bytes, the lowest first
  kRegistryBigEndianNumber = 5,  // four bytes, the highest first
  kRegistryTextList = 7,         // texts, each with a zero, and a zero
};

// The numbers that failures carry.
enum RegistryCode : std::int32_t {
  kRegistryNotFound = 2,
  kRegistryPathNotFound = 3,
  kRegistryAccessDenied = 5,
  kRegistryInvalidHandle = 6,
  kRegistryNoMemory = 8,
  kRegistryInUse = 32,
  kRegistryNoNetworkPath = 53,
  kRegistryInvalidParameter = 87,
  kRegistryDiskFull = 112,
  kRegistryBadPath = 161,
  kRegistryNoMoreItems = 259,
  kRegistryDamaged = 1009,
  kRegistryKeyDeleted = 1018,
  kRegistryDeviceError = 1117,
};

struct RegistryValue {
  std::uint32_t type = 0;
  std::string data;  // any bytes

  bool operator==(const RegistryValue&) const = default;
};

struct RegistryInfo {
  std::uint32_t values = 0;
  std::uint32_t longest_value_name = 0;  // in characters
};

class Registry {
 public:
  virtual ~Registry() = default;

  // A predefined key of another machine.
  virtual Result<RegistryKey> Connect(const std::string& machine, RegistryKey root) = 0;

  // The key below `parent`; an empty path is `parent` itself. Close what they return.
  virtual Result<RegistryKey> Open(RegistryKey parent, const std::string& path,
                                   std::uint32_t access) = 0;
  // Makes the key, and those above it, when missing.
  virtual Result<RegistryKey> Create(RegistryKey parent, const std::string& path,
                                     std::uint32_t access) = 0;
  virtual void Close(RegistryKey key) = 0;

  // Deletes a key with its values; refused (5) while it has keys below it.
  virtual Status DeleteKey(RegistryKey parent, const std::string& path) = 0;
  virtual Status DeleteValue(RegistryKey key, const std::string& name) = 0;

  // Type and data of a value; the empty name is the key's default value.
  virtual Result<RegistryValue> QueryValue(RegistryKey key, const std::string& name) = 0;
  virtual Status SetValue(RegistryKey key, const std::string& name, const RegistryValue& value) = 0;

  virtual Result<RegistryInfo> QueryInfo(RegistryKey key) = 0;
  // The name of the key below `key`, or of its value, with a 0-based index; 259 past the last.
  virtual Result<std::string> EnumKey(RegistryKey key, std::uint32_t index) = 0;
  virtual Result<std::string> EnumValue(RegistryKey key, std::uint32_t index) = 0;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_REGISTRY_H_
