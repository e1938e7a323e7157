// Keeps standard input in a private file. Tested end to end by tests/cli (imports from "-").
#include "cli/import/spooled_input.h"

#include <cstdint>
#include <cstdio>
#include <vector>

#include "platform/system.h"

namespace pv::cli {

Result<std::unique_ptr<SpooledInput>> SpooledInput::Empty() {
  const platform::System& system = platform::CurrentSystem();
  std::string folder;
  for (const char* name : {"TMPDIR", "TEMP", "TMP"}) {
    if (folder.empty()) folder = system.process->Environment(name).value_or("");
  }
  if (folder.empty()) folder = "/tmp";
  const auto identifier = system.process->NewIdentifier();
  if (!identifier) return Status::IoError("no random name for a temporary file could be made");
  std::string name = "pvgroup-";
  for (const std::uint8_t byte : *identifier) {
    constexpr char kDigits[] = "0123456789abcdef";
    name.push_back(kDigits[byte >> 4]);
    name.push_back(kDigits[byte & 15]);
  }
  std::unique_ptr<SpooledInput> spool(new SpooledInput);
  spool->path_ = platform::JoinPath(folder, name);
  platform::OpenOptions options;
  options.create = platform::CreateMode::kCreateNew;
  PV_ASSIGN_OR_RETURN(spool->file_, system.files->Open(spool->path_, options));
  if (system.files->Remove(spool->path_).ok()) spool->path_.clear();
  return spool;
}

Result<std::unique_ptr<SpooledInput>> SpooledInput::FromStream(std::FILE* stream) {
  PV_ASSIGN_OR_RETURN(std::unique_ptr<SpooledInput> spool, Empty());
  std::vector<char> block(1 << 20);
  std::uint64_t offset = 0;
  while (const std::size_t n = std::fread(block.data(), 1, block.size(), stream)) {
    PV_RETURN_IF_ERROR(spool->file_->Write(offset, block.data(), n));
    offset += n;
  }
  if (std::ferror(stream) != 0) return Status::IoError("the input could not be read");
  return spool;
}

SpooledInput::~SpooledInput() {
  file_.reset();
  if (!path_.empty()) (void)platform::CurrentSystem().files->Remove(path_).ok();
}

}  // namespace pv::cli
