// Handles that hosts hold: 32-bit numbers, looked up here and refused when they are stale or
// foreign. One registry a thread, as every object lives in the apartment that made it.
#ifndef PV_TABLESTORE_ENGINE_HANDLES_H_
#define PV_TABLESTORE_ENGINE_HANDLES_H_

#include <cstdint>
#include <vector>

namespace pv::engine {

enum class HandleKind : std::uint8_t { kNone, kSession, kTable, kTag, kField };

class HandleRegistry {
 public:
  struct Target {
    HandleKind kind = HandleKind::kNone;
    void* object = nullptr;   // Session or Table
    std::uint32_t index = 0;  // of the tag or field
  };

  static HandleRegistry& OfThisThread();

  // A positive handle; 0 when all 65,536 slots are taken.
  std::int32_t Add(HandleKind kind, void* object, std::uint32_t index = 0);
  void Remove(std::int32_t handle);

  // The target when the handle is live and of this kind, else null.
  const Target* Find(std::int32_t handle, HandleKind kind) const {
    const std::uint32_t slot = static_cast<std::uint32_t>(handle) & kSlotMask;
    if (handle <= 0 || slot >= slots_.size()) return nullptr;
    const Slot& s = slots_[slot];
    return s.handle == handle && s.target.kind == kind ? &s.target : nullptr;
  }

 private:
  // A handle is a generation of 15 bits, which is never 0, above a slot number of 16.
  static constexpr std::uint32_t kSlotBits = 16;
  static constexpr std::uint32_t kSlotMask = (1U << kSlotBits) - 1;
  static constexpr std::uint32_t kGenerations = 1U << 15;

  struct Slot {
    std::int32_t handle = 0;  // 0 while free
    std::uint32_t generation = 0;
    Target target;
  };
  std::vector<Slot> slots_;
  std::vector<std::uint32_t> free_;
};

}  // namespace pv::engine

#endif  // PV_TABLESTORE_ENGINE_HANDLES_H_
