// Writes output. Tested by output_stream_test.cc.
#include "cli/output_stream.h"

#include <cstdio>

#include "cli/failure.h"
#include "platform/system.h"

namespace pv::cli {

bool PathExists(const std::string& path) {
  return platform::CurrentSystem().files->Stat(path).status().code() != StatusCode::kNotFound;
}

OutputStream::OutputStream() { buffer_.reserve(kBlock + 4096); }

std::unique_ptr<OutputStream> OutputStream::ToFile(const std::string& path, bool replace) {
  if (!replace && PathExists(path)) {
    throw Failure(kUsage, path + " exists already; --yes replaces it");
  }
  auto stream = std::make_unique<OutputStream>();
  stream->path_ = path;
  stream->replace_ = replace;
  platform::OpenOptions options;
  options.create = platform::CreateMode::kCreateNew;
  options.share = platform::ShareMode::kDenyAll;
  platform::FileSystem* files = platform::CurrentSystem().files;
  for (int n = 0; stream->file_ == nullptr; ++n) {
    const std::string building = path + ".part" + (n == 0 ? "" : std::to_string(n));
    auto file = files->Open(building, options);
    if (file.status().code() == StatusCode::kExists && n < 100) continue;
    stream->file_ = Take(std::move(file));
    stream->building_ = building;
  }
  return stream;
}

OutputStream::~OutputStream() {
  if (file_ == nullptr) return;
  file_.reset();
  (void)platform::CurrentSystem().files->Remove(building_).ok();
}

void OutputStream::Send() {
  if (file_ != nullptr) {
    Check(file_->Write(offset_, buffer_.data(), buffer_.size()));
  } else if (std::fwrite(buffer_.data(), 1, buffer_.size(), stdout) != buffer_.size()) {
    throw Failure(kUnavailable, "standard output cannot be written");
  }
  offset_ += buffer_.size();
  buffer_.clear();
}

void OutputStream::Finish() {
  Send();
  if (file_ == nullptr) {
    if (std::fflush(stdout) != 0) {
      throw Failure(kUnavailable, "standard output cannot be written");
    }
    return;
  }
  Check(file_->Sync());
  file_.reset();
  platform::FileSystem* files = platform::CurrentSystem().files;
  if (!replace_ && PathExists(path_)) {
    (void)files->Remove(building_).ok();
    throw Failure(kUsage, path_ + " exists already; --yes replaces it");
  }
  Check(files->Rename(building_, path_));
}

}  // namespace pv::cli
