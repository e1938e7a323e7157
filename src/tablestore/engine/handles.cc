// The handle registry. Tested by handles_test.cc.
#include "tablestore/engine/handles.h"

namespace pv::engine {

HandleRegistry& HandleRegistry::OfThisThread() {
  thread_local HandleRegistry registry;
  return registry;
}

std::int32_t HandleRegistry::Add(HandleKind kind, void* object, std::uint32_t index) {
  std::uint32_t slot = 0;
  // Freed slots rest until there are many, so that a stale handle stays stale for long.
  if (free_.size() > 1024 || slots_.size() > kSlotMask) {
    if (free_.empty()) return 0;
    slot = free_.front();
    free_.erase(free_.begin());
  } else {
    slot = static_cast<std::uint32_t>(slots_.size());
    slots_.emplace_back();
  }
  Slot& s = slots_[slot];
  s.generation = s.generation + 1 < kGenerations ? s.generation + 1 : 1;
  s.handle = static_cast<std::int32_t>(s.generation << kSlotBits | slot);
  s.target = {kind, object, index};
  return s.handle;
}

void HandleRegistry::Remove(std::int32_t handle) {
  const std::uint32_t slot = static_cast<std::uint32_t>(handle) & kSlotMask;
  if (handle <= 0 || slot >= slots_.size() || slots_[slot].handle != handle) return;
  slots_[slot].handle = 0;
  slots_[slot].target = {};
  free_.push_back(slot);
}

}  // namespace pv::engine
