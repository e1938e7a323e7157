// The registry of Windows, through the ANSI functions.
#ifndef PV_PLATFORM_WIN32_REGISTRY_WIN32_H_
#define PV_PLATFORM_WIN32_REGISTRY_WIN32_H_

#include <memory>

#include "platform/registry.h"

namespace pv::platform {

std::unique_ptr<Registry> MakeWin32Registry();

}  // namespace pv::platform

#endif  // PV_PLATFORM_WIN32_REGISTRY_WIN32_H_
