// The files as a crash would have left them after any one of the recorded changes.
#ifndef PV_PLATFORM_MEMORY_CRASH_REPLAY_H_
#define PV_PLATFORM_MEMORY_CRASH_REPLAY_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "platform/memory/memory_file_system.h"
#include "platform/memory/memory_image.h"

namespace pv::platform {

// Copies the recording, so the file system may go on. Stepping forward costs what the changes
// cost, an image only the names; stepping back starts over.
//   CrashReplay replay(files);
//   for (std::size_t n = 0; n <= replay.size(); ++n) {
//     replay.StepTo(n);
//     MemoryFileSystem after(replay.Image());
//     ...
//   }
class CrashReplay {
 public:
  explicit CrashReplay(const MemoryFileSystem& files);

  std::size_t size() const { return events_.size(); }
  const Event& event(std::size_t n) const { return events_[n]; }

  // Applies the first `n` changes.
  void StepTo(std::size_t n);

  // The process died there: everything written is kept.
  MemoryImage Image() const;

  // It died within the next change, a write of which the first `bytes` came through. Image() when
  // the next change is no write.
  MemoryImage TornImage(std::size_t bytes) const;

  // The machine died there, and lost all that it was free to lose: a file has the content of its
  // last sync, a folder the names of its last sync (folders themselves are kept).
  MemoryImage PowerCutImage() const;

 private:
  using Content = std::shared_ptr<std::string>;
  struct Names {
    std::map<std::string, std::uint64_t> files;
    std::set<std::string> folders;
  };

  void Start();
  void Apply(const Event& event);
  // The content to be changed in place, its own copy when an image shares it.
  std::string* Own(std::uint64_t file);

  MemoryImage base_;
  std::vector<Event> events_;
  std::size_t position_ = 0;
  Names names_;
  Names durable_names_;
  std::map<std::uint64_t, Content> contents_;
  std::map<std::uint64_t, Content> durable_contents_;
};

}  // namespace pv::platform

#endif  // PV_PLATFORM_MEMORY_CRASH_REPLAY_H_
