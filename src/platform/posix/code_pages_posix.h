// Code pages made from the C library's converters.
#ifndef PV_PLATFORM_POSIX_CODE_PAGES_POSIX_H_
#define PV_PLATFORM_POSIX_CODE_PAGES_POSIX_H_

#include <map>
#include <memory>
#include <mutex>

#include "platform/system.h"

namespace pv::platform {

// Safe to share between threads.
class PosixCodePages : public CodePages {
 public:
  Result<std::shared_ptr<const CodePage>> Load(int number) override;
  int SystemPage() override { return 1252; }

 private:
  std::mutex mutex_;
  std::map<int, std::shared_ptr<const CodePage>> loaded_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_POSIX_CODE_PAGES_POSIX_H_
