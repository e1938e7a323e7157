// The lines of a file, from any place on, through a window of bounded size.
#ifndef PV_PROVIDERS_CONVERTER_TEXT_LINE_READER_H_
#define PV_PROVIDERS_CONVERTER_TEXT_LINE_READER_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "platform/file_system.h"

namespace pv::converter {

// Lines end with LF or CR LF; with kAnyEnd a CR alone ends one too.
class LineReader {
 public:
  enum class Ends : std::uint8_t { kLineFeed, kAnyEnd };

  // No more than this of a line is given; the rest is passed over.
  static constexpr std::size_t kLongest = std::size_t{1} << 20;

  struct Line {
    std::string_view text;     // without its end; valid until the next call
    std::uint64_t offset = 0;  // where it begins in the file
    bool cut = false;          // longer than kLongest
  };

  // The file must outlive the reader.
  explicit LineReader(platform::File* file, Ends ends = Ends::kLineFeed)
      : file_(file), ends_(ends) {}

  // The next line begins at `offset`.
  void Seek(std::uint64_t offset);

  // Reads the next line; false at the end of the file.
  Result<bool> Next(Line* line);

  // The next line that `wanted` says yes to, without going to the file: false when that is needed,
  // or the file ends. The lines before it are passed over.
  template <typename Wanted>
  bool TryNext(Line* line, Wanted wanted) {
    if (ends_ != Ends::kLineFeed) return false;
    const char* const window = window_.data();
    std::size_t at = next_;
    while (at < size_) {
      const char* const begin = window + at;
      const auto* const feed = static_cast<const char*>(std::memchr(begin, '\n', size_ - at));
      if (feed == nullptr) break;
      const auto size = static_cast<std::size_t>(feed - begin);
      if (size > kLongest) break;
      const std::string_view text(begin, size > 0 && feed[-1] == '\r' ? size - 1 : size);
      if (wanted(text)) {
        line->text = text;
        line->offset = window_offset_ + at;
        line->cut = false;
        next_ = at + size + 1;
        return true;
      }
      at += size + 1;
    }
    next_ = at;
    return false;
  }

  // The byte with which the next line begins; -1 at the end of the file.
  Result<int> Peek();
  // The same when it is at hand without going to the file, else -1.
  int TryPeek() const { return next_ < size_ ? static_cast<unsigned char>(window_[next_]) : -1; }

  // Where the next line begins.
  std::uint64_t offset() const { return window_offset_ + next_; }

 private:
  Status Fill();
  // Place of the line's end in the window from `from` on, or npos. Sets how long the end is.
  std::size_t FindEnd(std::size_t from, std::size_t* length);

  platform::File* file_;
  Ends ends_;
  std::vector<char> window_;
  std::size_t size_ = 0;             // bytes of the window that are filled
  std::size_t next_ = 0;             // the next line in the window
  std::uint64_t window_offset_ = 0;  // of the window in the file
  bool at_end_ = false;              // nothing follows the window
};

// The file opened for reading beside its owner, who is neither locked out nor waited for.
Result<std::unique_ptr<platform::File>> OpenSource(const std::string& path);

}  // namespace pv::converter

#endif  // PV_PROVIDERS_CONVERTER_TEXT_LINE_READER_H_
