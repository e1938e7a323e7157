// Makes paths. Tested by paths_test.cc.
#include "cli/paths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "cli/failure.h"

namespace pv::cli {

std::string SystemPath(std::string path) {
#ifndef _WIN32
  std::replace(path.begin(), path.end(), '\\', '/');
#endif
  return path;
}

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(SystemPath(path), error);
  if (error) throw Failure(kUnavailable, path + ": " + error.message());
  return absolute.lexically_normal().string();
}

}  // namespace pv::cli
