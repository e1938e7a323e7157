// Paths as users write them.
#ifndef PV_CLI_PATHS_H_
#define PV_CLI_PATHS_H_

#include <string>

namespace pv::cli {

// A path with the system's own separators.
std::string SystemPath(std::string path);

// The path from the root, in the system's form.
std::string AbsolutePath(const std::string& path);

}  // namespace pv::cli

#endif  // PV_CLI_PATHS_H_
