// Text, paths and failures of the Windows functions. Tested by file_system_test.cc.
#include "platform/win32/windows_api.h"

#include <algorithm>

#include "base/text.h"

namespace pv::platform {
namespace {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "wide text is UTF-16 here");

// From this length on some functions refuse a path without the prefix (folders are held to a
// shorter one than files, and a file name is appended).
constexpr std::size_t kLongPath = 240;

// ERROR_DISK_QUOTA_EXCEEDED, which older headers lack.
constexpr DWORD kDiskQuotaExceeded = 1295;

StatusCode CodeOf(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
      return StatusCode::kNotFound;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
      return StatusCode::kExists;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_IO_PENDING:
    case ERROR_BUSY:
      return StatusCode::kBusy;
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_PRIVILEGE_NOT_HELD:
    case ERROR_CANT_RESOLVE_FILENAME:  // links in a ring
      return StatusCode::kDenied;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case kDiskQuotaExceeded:
    case ERROR_FILE_TOO_LARGE:
      return StatusCode::kNoSpace;
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_INVALID_PARAMETER:
    case ERROR_NEGATIVE_SEEK:
    case ERROR_FILENAME_EXCED_RANGE:
      return StatusCode::kInvalid;
    case ERROR_NOT_SUPPORTED:
    case ERROR_CALL_NOT_IMPLEMENTED:
    case ERROR_INVALID_FUNCTION:
      return StatusCode::kUnsupported;
    default:
      return StatusCode::kIoError;
  }
}

}  // namespace

std::wstring WideFromUtf8(std::string_view text) {
  const std::u16string utf16 = Utf16FromUtf8(text);
  return std::wstring(utf16.begin(), utf16.end());
}

std::string Utf8FromWide(std::wstring_view text) {
  return Utf8FromUtf16(std::u16string(text.begin(), text.end()));
}

std::string AnsiFromUtf8(std::string_view text, bool* lossy) {
  const std::wstring wide = WideFromUtf8(text);
  if (wide.empty()) return {};
  BOOL replaced = FALSE;
  const int size = ::WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()),
                                         nullptr, 0, nullptr, nullptr);
  std::string ansi(static_cast<std::size_t>(std::max(size, 0)), '\0');
  ::WideCharToMultiByte(CP_ACP, 0, wide.data(), static_cast<int>(wide.size()), ansi.data(), size,
                        nullptr, &replaced);
  if (replaced && lossy != nullptr) *lossy = true;
  return ansi;
}

std::string Utf8FromAnsi(std::string_view ansi) {
  if (ansi.empty()) return {};
  const int bytes = static_cast<int>(ansi.size());
  const int size = ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), bytes, nullptr, 0);
  std::wstring wide(static_cast<std::size_t>(std::max(size, 0)), L'\0');
  ::MultiByteToWideChar(CP_ACP, 0, ansi.data(), bytes, wide.data(), size);
  return Utf8FromWide(wide);
}

Result<std::wstring> WidePath(const std::string& path) {
  if (path.empty()) return Status::Invalid("a file name is empty");
  if (path.find('\0') != std::string::npos) {
    return Status::Invalid(path.substr(0, path.find('\0')) + ": the name holds a zero character");
  }
  std::wstring wide = WideFromUtf8(path);
  std::replace(wide.begin(), wide.end(), L'/', L'\\');
  if (wide.rfind(L"\\\\?\\", 0) == 0) return wide;
  std::wstring full(wide.size() + MAX_PATH, L'\0');
  for (;;) {
    const DWORD size =
        ::GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
    if (size == 0) return FromWindowsError(::GetLastError(), path, "cannot use the path");
    const bool fits = size < full.size();
    full.resize(size);
    if (fits) break;
  }
  if (full.size() < kLongPath) return full;
  if (full.rfind(L"\\\\", 0) == 0) return L"\\\\?\\UNC" + full.substr(1);
  return L"\\\\?\\" + full;
}

Status FromWindowsError(DWORD error, const std::string& path, std::string_view doing) {
  std::string message = path;
  message.append(": ").append(doing).append(": ");
  wchar_t* text = nullptr;
  const DWORD size = ::FormatMessageW(
      FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
      nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
  std::wstring_view said(text == nullptr ? L"" : text, size);
  while (!said.empty() && (said.back() <= L' ' || said.back() == L'.')) said.remove_suffix(1);
  message += said.empty() ? "error " + std::to_string(error) : Utf8FromWide(said);
  if (text != nullptr) ::LocalFree(text);
  return Status(CodeOf(error), std::move(message), static_cast<std::int32_t>(error));
}

}  // namespace pv::platform
