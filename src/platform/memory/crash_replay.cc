// Replays recorded changes. Tested by memory_file_system_test.cc.
#include "platform/memory/crash_replay.h"

#include <algorithm>

namespace pv::platform {
namespace {

void ApplyWrite(std::string* content, std::uint64_t offset, std::string_view bytes) {
  const auto begin = static_cast<std::size_t>(offset);
  if (content->size() < begin + bytes.size()) content->resize(begin + bytes.size());
  bytes.copy(content->data() + begin, bytes.size());
}

}  // namespace

CrashReplay::CrashReplay(const MemoryFileSystem& files)
    : base_(files.RecordingBase()), events_(files.Events()) {
  Start();
}

void CrashReplay::Start() {
  position_ = 0;
  names_ = {};
  contents_.clear();
  names_.folders = base_.folders;
  for (const auto& [path, file] : base_.files) {
    names_.files[path] = file.id;
    contents_[file.id] = std::make_shared<std::string>(*file.content);
  }
  durable_names_ = names_;
  durable_contents_ = contents_;
}

std::string* CrashReplay::Own(std::uint64_t file) {
  Content& content = contents_[file];
  if (content == nullptr) {
    content = std::make_shared<std::string>();  // had no name when the recording began
  } else if (content.use_count() > 1) {
    content = std::make_shared<std::string>(*content);
  }
  return content.get();
}

void CrashReplay::StepTo(std::size_t n) {
  if (n < position_) Start();
  for (n = std::min(n, events_.size()); position_ < n; ++position_) Apply(events_[position_]);
}

void CrashReplay::Apply(const Event& event) {
  switch (event.kind) {
    case Event::Kind::kCreate:
      names_.files[event.path] = event.file;
      contents_[event.file] = std::make_shared<std::string>();
      break;
    case Event::Kind::kWrite:
      ApplyWrite(Own(event.file), event.offset, event.bytes);
      break;
    case Event::Kind::kTruncate:
      Own(event.file)->resize(static_cast<std::size_t>(event.size));
      break;
    case Event::Kind::kSync:
      durable_contents_[event.file] = contents_[event.file];
      break;
    case Event::Kind::kRename:
      names_.files[event.to] = event.file;
      names_.files.erase(event.path);
      break;
    case Event::Kind::kRemove:
      names_.files.erase(event.path);
      break;
    case Event::Kind::kCreateFolder:
      names_.folders.insert(event.path);
      durable_names_.folders.insert(event.path);
      break;
    case Event::Kind::kSyncFolder: {
      const auto inside = [&](const auto& entry) {
        return FolderOf(entry.first) == (event.path == "/" ? "/" : event.path + "/");
      };
      std::erase_if(durable_names_.files, inside);
      for (const auto& entry : names_.files) {
        if (inside(entry)) durable_names_.files.insert(entry);
      }
      break;
    }
  }
}

MemoryImage CrashReplay::Image() const {
  MemoryImage image;
  image.folders = names_.folders;
  image.symlinks = base_.symlinks;
  for (const auto& [path, id] : names_.files) image.files[path] = {id, contents_.at(id)};
  return image;
}

MemoryImage CrashReplay::TornImage(std::size_t bytes) const {
  MemoryImage image = Image();
  if (position_ == events_.size()) return image;
  const Event& next = events_[position_];
  if (next.kind != Event::Kind::kWrite || bytes == 0) return image;
  for (auto& [path, file] : image.files) {
    if (file.id != next.file) continue;
    auto torn = std::make_shared<std::string>(*file.content);
    ApplyWrite(torn.get(), next.offset, std::string_view(next.bytes).substr(0, bytes));
    file.content = std::move(torn);
  }
  return image;
}

MemoryImage CrashReplay::PowerCutImage() const {
  MemoryImage image;
  image.folders = durable_names_.folders;
  image.symlinks = base_.symlinks;
  static const auto kEmpty = std::make_shared<const std::string>();
  for (const auto& [path, id] : durable_names_.files) {
    const auto it = durable_contents_.find(id);
    image.files[path] = {id, it == durable_contents_.end() || it->second == nullptr
                                 ? kEmpty
                                 : std::shared_ptr<const std::string>(it->second)};
  }
  return image;
}

}  // namespace pv::platform
