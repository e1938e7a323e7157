// Lines through a window. Tested by line_reader_test.cc.
#include "providers/converter/text/line_reader.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/system.h"

namespace pv::converter {
namespace {

constexpr std::size_t kWindow = std::size_t{128} << 10;

}  // namespace

Result<std::unique_ptr<platform::File>> OpenSource(const std::string& path) {
  platform::OpenOptions options;
  options.read_only = true;
  options.share = platform::ShareMode::kUnclaimed;
  return platform::CurrentSystem().files->Open(path, options);
}

void LineReader::Seek(std::uint64_t offset) {
  if (offset >= window_offset_ && offset <= window_offset_ + size_) {
    next_ = static_cast<std::size_t>(offset - window_offset_);
    return;
  }
  window_offset_ = offset;
  size_ = next_ = 0;
  at_end_ = false;
}

// Moves what is not yet used to the window's start and fills up behind it.
Status LineReader::Fill() {
  if (window_.empty()) window_.resize(kWindow);
  if (next_ > 0) {
    std::memmove(window_.data(), window_.data() + next_, size_ - next_);
    window_offset_ += next_;
    size_ -= next_;
    next_ = 0;
  } else if (size_ == window_.size()) {
    window_.resize(std::min(window_.size() * 4, kLongest + kWindow));
  }
  PV_ASSIGN_OR_RETURN(
      const std::size_t got,
      file_->Read(window_offset_ + size_, window_.data() + size_, window_.size() - size_));
  size_ += got;
  if (got == 0) at_end_ = true;
  return Status::Ok();
}

std::size_t LineReader::FindEnd(std::size_t from, std::size_t* length) {
  const char* const begin = window_.data() + from;
  const auto* feed = static_cast<const char*>(std::memchr(begin, '\n', size_ - from));
  *length = 1;
  if (ends_ == Ends::kAnyEnd) {
    const std::size_t before =
        feed != nullptr ? static_cast<std::size_t>(feed - begin) : size_ - from;
    const auto* const back = static_cast<const char*>(std::memchr(begin, '\r', before));
    if (back != nullptr) {
      const auto place = static_cast<std::size_t>(back - window_.data());
      // At the window's end the LF that belongs to it may not be there yet.
      if (place + 1 == size_ && !at_end_) return std::string_view::npos;
      if (back + 1 == feed) *length = 2;
      return place;
    }
  }
  return feed != nullptr ? static_cast<std::size_t>(feed - window_.data()) : std::string_view::npos;
}

Result<int> LineReader::Peek() {
  if (next_ == size_ && !at_end_) PV_RETURN_IF_ERROR(Fill());
  return next_ < size_ ? static_cast<unsigned char>(window_[next_]) : -1;
}

Result<bool> LineReader::Next(Line* line) {
  std::size_t searched = next_;
  std::size_t length = 0;
  std::size_t end = std::string_view::npos;
  while (true) {
    if (searched < size_) end = FindEnd(searched, &length);
    if (end != std::string_view::npos || at_end_) break;
    if (size_ - next_ > kLongest) break;
    // A CR at the window's end is looked at again.
    searched = size_ > next_ ? size_ - 1 : size_;
    const std::size_t seen = searched - next_;
    PV_RETURN_IF_ERROR(Fill());
    searched = next_ + seen;
  }
  line->offset = offset();
  line->cut = false;
  if (end == std::string_view::npos && at_end_) {
    if (next_ == size_) return false;
    end = size_;
    length = 0;
  }
  if (end != std::string_view::npos) {
    std::size_t text_end = end;
    if (ends_ == Ends::kLineFeed && text_end > next_ && window_[text_end - 1] == '\r') --text_end;
    line->text = {window_.data() + next_, text_end - next_};
    next_ = end + length;
    if (line->text.size() > kLongest) {
      line->text = line->text.substr(0, kLongest);
      line->cut = true;
    }
    return true;
  }
  // Too long: its beginning stays in the window, the rest is passed over.
  line->cut = true;
  std::uint64_t at = window_offset_ + size_;
  std::vector<char> piece(kWindow);
  const std::string_view kept(window_.data() + next_, kLongest);
  // The last piece ended in a CR, perhaps one of those in the window.
  bool back = ends_ == Ends::kAnyEnd && window_[size_ - 1] == '\r';
  while (true) {
    PV_ASSIGN_OR_RETURN(const std::size_t got, file_->Read(at, piece.data(), piece.size()));
    if (got == 0) break;
    const std::string_view text(piece.data(), got);
    if (back) {
      if (text.front() == '\n') ++at;
      break;
    }
    const std::size_t found = text.find_first_of(ends_ == Ends::kAnyEnd ? "\r\n" : "\n");
    if (found != std::string_view::npos && text[found] == '\r' && found + 1 == got) {
      back = true;
      at += got;
      continue;
    }
    if (found != std::string_view::npos) {
      at += found + (text[found] == '\r' && text[found + 1] == '\n' ? 2 : 1);
      break;
    }
    at += got;
  }
  // The bytes stay where they are for the view until the next call fills the window from `at` on.
  line->text = kept;
  window_offset_ = at;
  size_ = next_ = 0;
  at_end_ = false;
  return true;
}

}  // namespace pv::converter
