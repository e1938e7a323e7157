// Standard input, or a pipe, kept in a file, for work that reads its source twice.
#ifndef PV_CLI_IMPORT_SPOOLED_INPUT_H_
#define PV_CLI_IMPORT_SPOOLED_INPUT_H_

#include <cstdio>
#include <memory>
#include <string>

#include "base/status.h"
#include "platform/file_system.h"

namespace pv::cli {

// A file of its own for what a stream gives: private, in the folder for
// temporary files, and removed when this object dies (at once where the system allows it).
class SpooledInput {
 public:
  static Result<std::unique_ptr<SpooledInput>> FromStream(std::FILE* stream);

  // Empty, to be written through file().
  static Result<std::unique_ptr<SpooledInput>> Empty();
  ~SpooledInput();
  SpooledInput(const SpooledInput&) = delete;
  SpooledInput& operator=(const SpooledInput&) = delete;

  platform::File* file() { return file_.get(); }

 private:
  SpooledInput() = default;
  std::unique_ptr<platform::File> file_;
  std::string path_;  // empty once removed
};

}  // namespace pv::cli

#endif  // PV_CLI_IMPORT_SPOOLED_INPUT_H_
