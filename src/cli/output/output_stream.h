// Buffered output to standard output or to a file that appears whole.
#ifndef PV_CLI_OUTPUT_OUTPUT_STREAM_H_
#define PV_CLI_OUTPUT_OUTPUT_STREAM_H_

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file_system.h"

namespace pv::cli {

// Throws Failure when writing fails. Has the members that rapidjson asks of a stream.
class OutputStream {
 public:
  using Ch = char;

  // Standard output.
  OutputStream();

  // A new file, written under a name of its own beside `path` and renamed by Finish; without
  // Finish nothing is left. `replace` allows that there is a file `path` already. A link is
  // followed; a device or a pipe is written to as it is.
  static std::unique_ptr<OutputStream> ToFile(const std::string& path, bool replace);

  // An open file, from its start on; it stays open and must outlive the stream.
  static std::unique_ptr<OutputStream> Into(platform::File* file);

  // Whether ToFile would put another file in the place of one that is there.
  static bool WouldReplace(const std::string& path);

  ~OutputStream();
  OutputStream(const OutputStream&) = delete;
  OutputStream& operator=(const OutputStream&) = delete;

  void Put(char c) {
    buffer_.push_back(c);
    if (buffer_.size() >= kBlock) Send();
  }
  void Write(std::string_view text) {
    buffer_.append(text);
    if (buffer_.size() >= kBlock) Send();
  }
  void Flush() {}

  // Sends what is buffered; a file is synced and gets its name.
  void Finish();

  std::uint64_t written() const { return offset_ + buffer_.size(); }

 private:
  static constexpr std::size_t kBlock = 256 * 1024;
  void Send();
  [[noreturn]] void Fail() const;

  std::string buffer_;
  std::uint64_t offset_ = 0;
  std::FILE* stream_ = nullptr;           // standard output, a device or a pipe
  std::unique_ptr<platform::File> file_;  // where that is null
  platform::File* into_ = nullptr;        // where both are
  std::string path_;
  std::string building_;
  bool replace_ = false;
};

// Whether something has this name.
bool PathExists(const std::string& path);

}  // namespace pv::cli

#endif  // PV_CLI_OUTPUT_OUTPUT_STREAM_H_
