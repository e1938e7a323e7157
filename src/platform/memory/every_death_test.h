// The crash test that every layer above the files shares: some work is recorded, and the files are
// looked at as the death of its process would have left them, wherever it may have met it.
#ifndef PV_PLATFORM_MEMORY_EVERY_DEATH_TEST_H_
#define PV_PLATFORM_MEMORY_EVERY_DEATH_TEST_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>

#include "platform/memory/crash_replay.h"
#include "platform/memory/memory_file_system.h"

namespace pv::platform {

// Does `work` and calls `check` with an image of the files after none, each and all of its recorded
// changes, and within each write (a word of four bytes is written at once); the second argument
// says which, for messages. Ends early when a check fails fatally. The number of changes.
template <typename Work, typename Check>
std::size_t ForEveryDeath(MemoryFileSystem* files, const std::string& name, const Work& work,
                          const Check& check) {
  files->StartRecording();
  work();
  files->StopRecording();
  CrashReplay replay(*files);
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    const std::string where = name + ", after change " + std::to_string(n);
    check(replay.Image(), where);
    if (::testing::Test::HasFatalFailure()) break;
    if (n == replay.size() || replay.event(n).kind != Event::Kind::kWrite) continue;
    const auto size = static_cast<std::size_t>(replay.event(n).size);
    if (size <= 4) continue;
    for (const std::size_t cut : std::set<std::size_t>{1, size / 3, size / 2, size - 1}) {
      check(replay.TornImage(cut), where + ", torn at " + std::to_string(cut));
      if (::testing::Test::HasFatalFailure()) return replay.size();
    }
  }
  return replay.size();
}

// The same for one operation: `read` makes what can be seen of an image (and expects that it is
// sound, and goes on working), which must be the state `before` or the state `after` the operation;
// once a death has left the later state, so do all later ones, and the last does.
template <typename State, typename Work, typename Read>
void ExpectEveryDeathHarmless(MemoryFileSystem* files, const std::string& name, const State& before,
                              const State& after, const Work& work, const Read& read) {
  State last = before;
  const std::size_t changes =
      ForEveryDeath(files, name, work, [&](const MemoryImage& image, const std::string& where) {
        last = read(image, where);
        EXPECT_TRUE(last == before || last == after)
            << where << ": " << ::testing::PrintToString(last);
        ASSERT_FALSE(::testing::Test::HasFailure()) << where;
      });
  EXPECT_GT(changes, 0U) << name;
  EXPECT_EQ(last, after) << name << ": once it has answered, it is there";
}

// Every call of an operation fails once with every error, from the files as they are now.
// `run(where, arm)` prepares what it needs, calls `arm()`, and does the operation; then, with the
// fault gone, `check(where)` looks at the files. Ends early when a check fails. How many faults
// were met.
template <typename Run, typename Check>
int ForEveryFault(MemoryFileSystem* files, const std::string& name, const Run& run,
                  const Check& check) {
  const MemoryImage start = files->Snapshot();
  int met = 0;
  for (const Fault fault :
       {Fault::kNoSpace, Fault::kIoError, Fault::kShortWrite, Fault::kBusy, Fault::kDenied}) {
    for (int n = 1;; ++n) {
      files->Restore(start);
      const std::string where = name + ", call " + std::to_string(n) + ", fault " +
                                std::to_string(static_cast<int>(fault));
      run(where, [&] { files->FailCall(static_cast<std::uint64_t>(n), Call::kAny, fault); });
      const bool hit = files->FaultHit();
      files->ClearFault();
      check(where);
      if (::testing::Test::HasFailure()) return met;
      if (!hit) break;
      ++met;
      if (n >= 5000) {
        ADD_FAILURE() << where << ": there is no end to the calls";
        return met;
      }
    }
  }
  files->Restore(start);
  return met;
}

// The same with the fault in force from the beginning. `run` says whether the operation answered
// that all went well; with or without it, `read` must then find the state before or after, and the
// latter when all went well.
template <typename State, typename Run, typename Read>
void ExpectEveryFaultHarmless(MemoryFileSystem* files, const std::string& name, const State& before,
                              const State& after, const Run& run, const Read& read) {
  bool done = false;
  int failed = 0;
  ForEveryFault(
      files, name,
      [&](const std::string& where, const auto& arm) {
        arm();
        done = run(where);
      },
      [&](const std::string& where) {
        const State found = read(files->Snapshot(), where);
        if (done) {
          EXPECT_EQ(found, after) << where;
        } else {
          ++failed;
          EXPECT_TRUE(found == before || found == after)
              << where << ": " << ::testing::PrintToString(found);
        }
      });
  EXPECT_GT(failed, 5) << name << ": few faults were noticed";
}

}  // namespace pv::platform

#endif  // PV_PLATFORM_MEMORY_EVERY_DEATH_TEST_H_
