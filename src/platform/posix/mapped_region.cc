// Shared mappings and the guard around copies. Tested by mapped_region_test.cc.
#include "platform/posix/mapped_region.h"

#include <dlfcn.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <mutex>

namespace pv::platform {
namespace {

constexpr std::uint64_t kSmallestCapacity = std::uint64_t{64} << 20;

// A file cut short under its mapping, or a hole that a full disk cannot fill, answers a copy with
// SIGBUS. The copying thread leaves word here of the bytes it is about to touch; the handler takes
// it back out of the copy. Any other address belongs to the host: its handler is called.
struct Guard {
  const char* begin;
  const char* end;
  sigjmp_buf back;
};

// Initial-exec: the handler must be able to read it without the allocation that a first access
// from a library loaded at run time may make.
__attribute__((tls_model("initial-exec"))) thread_local Guard* volatile active_guard = nullptr;

struct sigaction previous_action;

void PassOn(int signal, siginfo_t* info, void* context) {
  if ((previous_action.sa_flags & SA_SIGINFO) != 0) {
    previous_action.sa_sigaction(signal, info, context);
  } else if (previous_action.sa_handler != SIG_DFL && previous_action.sa_handler != SIG_IGN) {
    previous_action.sa_handler(signal);
  } else if (previous_action.sa_handler == SIG_DFL || info->si_code > 0) {
    // The default action, taken by the same fault when it is met again, or by raising a signal
    // that somebody sent. (A fault cannot be ignored.)
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    ::sigaction(signal, &action, nullptr);
    if (info->si_code <= 0) ::raise(signal);
  }
}

void OnBusError(int signal, siginfo_t* info, void* context) {
  Guard* const guard = active_guard;
  const char* const address = static_cast<const char*>(info->si_addr);
  if (guard != nullptr && info->si_code > 0 && address >= guard->begin && address < guard->end) {
    active_guard = nullptr;
    siglongjmp(guard->back, 1);
  }
  PassOn(signal, info, context);
}

// Once per process, when the first file is mapped. The handler is there for good, so the library
// that holds it must not be unloaded.
void InstallHandler() {
  static std::once_flag once;
  std::call_once(once, [] {
    Dl_info self;
    if (::dladdr(reinterpret_cast<void*>(&OnBusError), &self) != 0 && self.dli_fname != nullptr) {
      (void)::dlopen(self.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    }
    ::sigaction(SIGBUS, nullptr, &previous_action);
    struct sigaction action = {};
    action.sa_sigaction = &OnBusError;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGBUS, &action, nullptr);
  });
}

// Copies with the mapped side guarded. Kept out of line: the jump back must find a frame in which
// nothing but the guard lives.
template <typename Copy>
__attribute__((noinline)) bool Guarded(const char* mapped, std::size_t size, const Copy& copy) {
  Guard guard;
  guard.begin = mapped;
  guard.end = mapped + size;
  // Saving the signal mask would cost a system call each time; the way back mends it instead.
  if (sigsetjmp(guard.back, 0) != 0) {
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGBUS);
    ::pthread_sigmask(SIG_UNBLOCK, &blocked, nullptr);
    return false;
  }
  active_guard = &guard;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  copy();
  std::atomic_signal_fence(std::memory_order_seq_cst);
  active_guard = nullptr;
  return true;
}

}  // namespace

bool MappedRegion::Map(int descriptor, std::uint64_t size, bool writable) {
  if (refused_) return false;
  // Counts as refused until all is done.
  refused_ = true;
  if (size > static_cast<std::uint64_t>(PTRDIFF_MAX) / 2) return false;
  const std::uint64_t capacity = std::bit_ceil(std::max(size, kSmallestCapacity));
  InstallHandler();
  void* const base = ::mmap(nullptr, static_cast<std::size_t>(capacity),
                            writable ? PROT_READ | PROT_WRITE : PROT_READ,
                            MAP_SHARED | MAP_NORESERVE, descriptor, 0);
  if (base == MAP_FAILED) return false;
  Unmap();
  refused_ = false;
  base_ = static_cast<char*>(base);
  capacity_ = capacity;
  windows_.assign(static_cast<std::size_t>(capacity >> kWindowShift), 0);
  resident_.clear();
  oldest_ = 0;
  return true;
}

void MappedRegion::Unmap() {
  if (base_ != nullptr) ::munmap(base_, static_cast<std::size_t>(capacity_));
  base_ = nullptr;
  capacity_ = 0;
}

bool MappedRegion::AdmitWindows(std::uint64_t first, std::uint64_t last, std::size_t weight) {
  for (std::uint64_t window = first; window <= last; ++window) {
    if (windows_[window] == kResident) continue;
    if (resident_.size() < most_resident_) {
      resident_.push_back(window);
    } else {
      wanted_in_a_row_ = (window == last_wanted_ ? wanted_in_a_row_ : 0) + weight;
      last_wanted_ = window;
      if (++windows_[window] < kWantedOften && wanted_in_a_row_ < wanted_in_a_row_enough_)
        return false;
      // The process forgets the oldest; what was written there stays in the system's cache.
      std::uint64_t& oldest = resident_[oldest_];
      (void)::madvise(base_ + (oldest << kWindowShift), std::size_t{1} << kWindowShift,
                      MADV_DONTNEED);
      windows_[oldest] = 0;
      oldest = window;
      oldest_ = (oldest_ + 1) % resident_.size();
    }
    windows_[window] = kResident;
  }
  // Admitting the second of two may have taken the place of the first.
  return windows_[first] == kResident;
}

bool MappedRegion::CopyOut(std::uint64_t offset, void* out, std::size_t size) {
  const char* const from = base_ + offset;
  return Guarded(from, size, [=] { std::memcpy(out, from, size); });
}

std::size_t MappedRegion::CopyOutMany(std::span<const File::Piece> pieces, std::size_t size,
                                      std::uint64_t end) {
  // Far enough that memory has answered when the copy comes there.
  constexpr std::size_t kPrefetched = 4;
  const std::uint64_t window = pieces.front().offset >> kWindowShift;
  const std::uint64_t begin = window << kWindowShift;
  end = std::min(end, begin + (std::uint64_t{1} << kWindowShift));
  std::size_t together = 0;
  while (together < pieces.size() && pieces[together].offset >= begin &&
         pieces[together].offset + size <= end) {
    ++together;
  }
  if (together == 0) return 0;
  if (windows_[window] != kResident && !AdmitWindows(window, window, together)) return 0;
  const char* const base = base_;
  const bool copied = Guarded(base + begin, static_cast<std::size_t>(end - begin), [=, &pieces] {
    for (std::size_t i = 0; i < together; ++i) {
      if (i + kPrefetched < together) {
        const char* const soon = base + pieces[i + kPrefetched].offset;
        for (std::size_t at = 0; at < size && at < 512; at += 64) __builtin_prefetch(soon + at);
      }
      std::memcpy(pieces[i].out, base + pieces[i].offset, size);
    }
  });
  return copied ? together : 0;
}

bool MappedRegion::CopyIn(std::uint64_t offset, const void* data, std::size_t size) {
  char* const to = base_ + offset;
  return Guarded(to, size, [=] { std::memcpy(to, data, size); });
}

}  // namespace pv::platform
