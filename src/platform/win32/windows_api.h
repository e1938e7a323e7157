// <windows.h> as this folder uses it, and what its files share: text, paths and failures.
#ifndef PV_PLATFORM_WIN32_WINDOWS_API_H_
#define PV_PLATFORM_WIN32_WINDOWS_API_H_

#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0601
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <string>
#include <string_view>

#include "base/status.h"

namespace pv::platform {

std::wstring WideFromUtf8(std::string_view text);
std::string Utf8FromWide(std::wstring_view text);

// Text for the ANSI functions; `lossy`, which may be null, is set when the system's page lacks
// characters of it.
std::string AnsiFromUtf8(std::string_view text, bool* lossy);
std::string Utf8FromAnsi(std::string_view ansi);

// A path for the wide functions: absolute, "\" as separator, with the prefix that lifts the limit
// on its length when it is long. kInvalid for an empty path or one with a zero character.
Result<std::wstring> WidePath(const std::string& path);

// The failure of `doing` ("cannot open") on `path`; busy apart from broken, full apart from
// forbidden. `detail` is `error`.
Status FromWindowsError(DWORD error, const std::string& path, std::string_view doing);

}  // namespace pv::platform

#endif  // PV_PLATFORM_WIN32_WINDOWS_API_H_
