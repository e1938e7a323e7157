// Writes output. Tested by output_stream_test.cc.
#include "cli/output/output_stream.h"

#include <filesystem>
#include <system_error>

#include "cli/failure.h"
#include "cli/paths.h"
#include "platform/system.h"

namespace pv::cli {

bool PathExists(const std::string& path) {
  return platform::CurrentSystem().files->Stat(path).status().code() != StatusCode::kNotFound;
}

OutputStream::OutputStream() : stream_(stdout) { buffer_.reserve(kBlock + 4096); }

std::unique_ptr<OutputStream> OutputStream::ToFile(const std::string& wanted, bool replace) {
  namespace fs = std::filesystem;
  auto stream = std::make_unique<OutputStream>();
  stream->path_ = wanted;
  std::error_code error;
  const fs::file_status status = fs::status(SystemPath(wanted), error);
  if (fs::is_directory(status)) throw Failure(kUnavailable, wanted + " is a folder");
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    stream->stream_ = std::fopen(wanted.c_str(), "wb");
    if (stream->stream_ == nullptr) throw Failure(kUnavailable, wanted + " cannot be opened");
    return stream;
  }
  std::string path = wanted;
  if (fs::is_symlink(fs::symlink_status(SystemPath(wanted), error))) {
    path = fs::weakly_canonical(SystemPath(wanted), error).string();
    if (error) throw Failure(kUnavailable, wanted + ": " + error.message());
  }
  if (!replace && PathExists(path)) {
    throw Failure(kUsage, wanted + " exists already; --yes replaces it");
  }
  stream->stream_ = nullptr;
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

std::unique_ptr<OutputStream> OutputStream::Into(platform::File* file) {
  auto stream = std::make_unique<OutputStream>();
  stream->stream_ = nullptr;
  stream->into_ = file;
  return stream;
}

bool OutputStream::WouldReplace(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(SystemPath(path), error);
}

OutputStream::~OutputStream() {
  if (stream_ != nullptr && stream_ != stdout) std::fclose(stream_);
  if (file_ == nullptr) return;
  file_.reset();
  (void)platform::CurrentSystem().files->Remove(building_).ok();
}

void OutputStream::Fail() const {
  const std::string name = stream_ == stdout ? "standard output" : path_;
  throw Failure(kUnavailable, name + " cannot be written");
}

void OutputStream::Send() {
  if (stream_ == nullptr) {
    platform::File* const file = into_ != nullptr ? into_ : file_.get();
    Check(file->Write(offset_, buffer_.data(), buffer_.size()));
  } else if (std::fwrite(buffer_.data(), 1, buffer_.size(), stream_) != buffer_.size()) {
    Fail();
  }
  offset_ += buffer_.size();
  buffer_.clear();
}

void OutputStream::Finish() {
  Send();
  if (into_ != nullptr) return;
  if (stream_ != nullptr) {
    if (std::fflush(stream_) != 0) Fail();
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
