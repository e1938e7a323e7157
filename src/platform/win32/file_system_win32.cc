// Names, folders and opening on Windows. Tested by file_system_test.cc.
#include "platform/win32/file_system_win32.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "platform/win32/win32_file.h"

namespace pv::platform {
namespace {

// How often an open starts again because the name moved on meanwhile.
constexpr int kOpenTries = 100;

// Every open admits renaming and removing the file: what is replaced stays usable to those who
// have it open.
DWORD ShareFlags(ShareMode share) {
  switch (share) {
    case ShareMode::kDenyNone:
    case ShareMode::kUnclaimed:
      return FILE_SHARE_DELETE | FILE_SHARE_READ | FILE_SHARE_WRITE;
    case ShareMode::kDenyWrite:
      return FILE_SHARE_DELETE | FILE_SHARE_READ;
    case ShareMode::kDenyAll:
      break;
  }
  return FILE_SHARE_DELETE;
}

constexpr DWORD kShareAll = FILE_SHARE_DELETE | FILE_SHARE_READ | FILE_SHARE_WRITE;

bool IsRefusal(DWORD error) { return error == ERROR_ACCESS_DENIED || error == ERROR_WRITE_PROTECT; }

bool IsMissing(DWORD error) { return error == ERROR_FILE_NOT_FOUND; }

bool IsLink(const std::wstring& path) {
  WIN32_FIND_DATAW found;
  const HANDLE search = ::FindFirstFileW(path.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) return false;
  ::FindClose(search);
  return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
         (found.dwReserved0 == IO_REPARSE_TAG_SYMLINK ||
          found.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT);
}

// What lies under a name, links followed. Asks for no access, so no share mode refuses it.
bool Describe(const std::wstring& path, BY_HANDLE_FILE_INFORMATION* info) {
  const Handle handle(::CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
  return handle.ok() && ::GetFileInformationByHandle(handle.get(), info);
}

bool SameFile(const BY_HANDLE_FILE_INFORMATION& a, const BY_HANDLE_FILE_INFORMATION& b) {
  return a.dwVolumeSerialNumber == b.dwVolumeSerialNumber && a.nFileIndexHigh == b.nFileIndexHigh &&
         a.nFileIndexLow == b.nFileIndexLow;
}

// FileRenameInfoEx and its flags, which older headers lack: the new name takes the place of the
// old file at once even while that is open.
constexpr auto kRenameInfoEx = static_cast<FILE_INFO_BY_HANDLE_CLASS>(22);
constexpr DWORD kReplaceIfExists = 1;
constexpr DWORD kPosixSemantics = 2;
struct RenameInfoEx {
  DWORD flags;
  HANDLE root;
  DWORD name_size;  // in bytes
  wchar_t name[1];
};

bool RenameOverOpenFile(const std::wstring& from, const std::wstring& to) {
  const Handle handle(::CreateFileW(from.c_str(), DELETE | SYNCHRONIZE, kShareAll, nullptr,
                                    OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!handle.ok()) return false;
  const std::size_t name_size = to.size() * sizeof(wchar_t);
  std::vector<char> buffer(sizeof(RenameInfoEx) + name_size);
  RenameInfoEx info = {
      kReplaceIfExists | kPosixSemantics, nullptr, static_cast<DWORD>(name_size), {}};
  std::memcpy(buffer.data(), &info, sizeof info);
  std::memcpy(buffer.data() + offsetof(RenameInfoEx, name), to.data(), name_size);
  return ::SetFileInformationByHandle(handle.get(), kRenameInfoEx, buffer.data(),
                                      static_cast<DWORD>(buffer.size()));
}

}  // namespace

Result<std::unique_ptr<File>> Win32FileSystem::Open(const std::string& path,
                                                    const OpenOptions& options) {
  PV_ASSIGN_OR_RETURN(const std::wstring wide, WidePath(path));
  const DWORD share = ShareFlags(options.share);
  const DWORD flags = FILE_ATTRIBUTE_NORMAL | (options.mapped ? FILE_FLAG_RANDOM_ACCESS : DWORD{0});
  const auto open = [&](bool reading, DWORD disposition, DWORD more) {
    return Handle(::CreateFileW(wide.c_str(), reading ? GENERIC_READ : GENERIC_READ | GENERIC_WRITE,
                                share, nullptr, disposition, flags | more, nullptr));
  };
  for (int tries = 0; tries < kOpenTries; ++tries) {
    Handle handle;
    bool read_only = options.read_only;
    DWORD error = ERROR_FILE_NOT_FOUND;
    if (options.create != CreateMode::kCreateNew) {
      handle = open(read_only, OPEN_EXISTING, 0);
      error = handle.ok() ? ERROR_SUCCESS : ::GetLastError();
      if (!read_only && IsRefusal(error)) {
        handle = open(true, OPEN_EXISTING, 0);
        read_only = true;
      }
    }
    if (!handle.ok() && IsMissing(error) && options.create != CreateMode::kOpenExisting) {
      // A link under the name is not followed, so nothing is created through one.
      handle = open(read_only, CREATE_NEW, FILE_FLAG_OPEN_REPARSE_POINT);
      error = handle.ok() ? ERROR_SUCCESS : ::GetLastError();
      if (error == ERROR_FILE_EXISTS && options.create == CreateMode::kOpenOrCreate) {
        if (IsLink(wide)) {
          return Status::Denied(path + ": cannot create through a symbolic link");
        }
        continue;  // somebody was quicker: open theirs
      }
    }
    if (!handle.ok()) {
      BY_HANDLE_FILE_INFORMATION info;
      if (IsRefusal(error) && Describe(wide, &info) &&
          (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return options.create == CreateMode::kCreateNew
                   ? Status::Exists(path + ": cannot create: a folder has the name")
                   : Status::Invalid(path + ": cannot open: not a regular file");
      }
      return FromWindowsError(error, path, "cannot open");
    }
    if (::GetFileType(handle.get()) != FILE_TYPE_DISK) {
      return Status::Invalid(path + ": cannot open: not a regular file");
    }
    // Between the look-up of the name and now the file may have been replaced.
    BY_HANDLE_FILE_INFORMATION held;
    BY_HANDLE_FILE_INFORMATION named;
    if (!::GetFileInformationByHandle(handle.get(), &held)) {
      return FromWindowsError(::GetLastError(), path, "cannot open");
    }
    if (!Describe(wide, &named) || !SameFile(held, named)) continue;
    return std::unique_ptr<File>(std::make_unique<Win32File>(std::move(handle), path, read_only));
  }
  return Status::Busy(path + ": cannot open: the file is being replaced again and again");
}

Result<FileInfo> Win32FileSystem::Stat(const std::string& path) {
  PV_ASSIGN_OR_RETURN(const std::wstring wide, WidePath(path));
  BY_HANDLE_FILE_INFORMATION found;
  if (!Describe(wide, &found)) return FromWindowsError(::GetLastError(), path, "cannot look up");
  FileInfo info;
  info.is_directory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
  info.is_symlink = IsLink(wide);
  if (!info.is_directory) {
    info.size = std::uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
  }
  return info;
}

Status Win32FileSystem::Remove(const std::string& path) {
  PV_ASSIGN_OR_RETURN(const std::wstring wide, WidePath(path));
  if (!::DeleteFileW(wide.c_str())) {
    return FromWindowsError(::GetLastError(), path, "cannot remove");
  }
  return Status::Ok();
}

Status Win32FileSystem::Rename(const std::string& from, const std::string& to) {
  PV_ASSIGN_OR_RETURN(const std::wstring old_path, WidePath(from));
  PV_ASSIGN_OR_RETURN(const std::wstring new_path, WidePath(to));
  if (RenameOverOpenFile(old_path, new_path)) return Status::Ok();
  if (!::MoveFileExW(old_path.c_str(), new_path.c_str(),
                     MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
    return FromWindowsError(::GetLastError(), from, "cannot rename to " + to);
  }
  return Status::Ok();
}

Result<std::vector<std::string>> Win32FileSystem::List(const std::string& folder) {
  PV_ASSIGN_OR_RETURN(std::wstring pattern, WidePath(folder));
  if (pattern.back() != L'\\') pattern += L'\\';
  pattern += L'*';
  WIN32_FIND_DATAW found;
  const HANDLE search = ::FindFirstFileW(pattern.c_str(), &found);
  if (search == INVALID_HANDLE_VALUE) {
    return FromWindowsError(::GetLastError(), folder, "cannot list");
  }
  std::vector<std::string> names;
  do {
    const std::wstring_view name = found.cFileName;
    if (name != L"." && name != L"..") names.push_back(Utf8FromWide(name));
  } while (::FindNextFileW(search, &found));
  const DWORD error = ::GetLastError();
  ::FindClose(search);
  if (error != ERROR_NO_MORE_FILES) return FromWindowsError(error, folder, "cannot list");
  return names;
}

Status Win32FileSystem::CreateFolders(const std::string& folder) {
  PV_ASSIGN_OR_RETURN(std::wstring wide, WidePath(folder));
  while (wide.size() > 1 && wide.back() == L'\\') wide.pop_back();
  // From the deepest part that exists downwards.
  std::vector<std::size_t> missing;
  for (std::size_t end = wide.size(); end != std::wstring::npos && end > 0;
       end = wide.rfind(L'\\', end - 1)) {
    const DWORD attributes = ::GetFileAttributesW(wide.substr(0, end).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      missing.push_back(end);
      continue;
    }
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
      return Status::Exists(folder + ": cannot make the folder: a file has the name");
    }
    break;
  }
  for (auto end = missing.rbegin(); end != missing.rend(); ++end) {
    if (::CreateDirectoryW(wide.substr(0, *end).c_str(), nullptr)) continue;
    const DWORD error = ::GetLastError();
    if (error == ERROR_ALREADY_EXISTS) continue;  // somebody was quicker
    return FromWindowsError(error, folder, "cannot make the folder");
  }
  return Status::Ok();
}

Status Win32FileSystem::SyncFolder(const std::string& folder) {
  PV_ASSIGN_OR_RETURN(const FileInfo info, Stat(folder));
  if (!info.is_directory) return Status::NotFound(folder + ": cannot sync: not a folder");
  return Status::Ok();
}

void Win32FileSystem::SleepMicroseconds(std::uint32_t microseconds) {
  // Sleep takes a tick of the clock at least, far longer than most locks are held.
  if (microseconds < 1000) {
    ::SwitchToThread();
  } else {
    ::Sleep(microseconds / 1000);
  }
}

std::uint64_t Win32FileSystem::MonotonicMicroseconds() {
  LARGE_INTEGER frequency;
  LARGE_INTEGER now;
  ::QueryPerformanceFrequency(&frequency);
  ::QueryPerformanceCounter(&now);
  const auto per_second = static_cast<std::uint64_t>(frequency.QuadPart);
  const auto count = static_cast<std::uint64_t>(now.QuadPart);
  return count / per_second * 1'000'000 + count % per_second * 1'000'000 / per_second;
}

}  // namespace pv::platform
