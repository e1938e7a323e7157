#include "platform/memory/memory_file_system.h"

#include <gtest/gtest.h>

#include "platform/memory/crash_replay.h"

namespace pv::platform {
namespace {

using enum Event::Kind;

std::vector<Event::Kind> Kinds(const MemoryFileSystem& files) {
  std::vector<Event::Kind> kinds;
  for (const Event& event : files.Events()) kinds.push_back(event.kind);
  return kinds;
}

OpenOptions Creating() {
  OpenOptions options;
  options.create = CreateMode::kOpenOrCreate;
  return options;
}

std::string ContentOr(const MemoryImage& image, const std::string& path, const char* missing) {
  const std::string* const content = image.Find(path);
  return content == nullptr ? missing : *content;
}

TEST(MemoryFileSystem, RecordsEveryChangeInOrder) {
  MemoryFileSystem files;
  ASSERT_TRUE(files.CreateFolders("\\data\\groups\\").ok());
  {
    const auto file = *files.Open("/data/groups/a", Creating());
    ASSERT_TRUE(file->Write(2, "abc", 3).ok());
    ASSERT_TRUE(file->Truncate(4).ok());
    ASSERT_TRUE(file->Sync().ok());
    ASSERT_TRUE(files.Rename("/data/groups/a", "/data/groups/b").ok());
    ASSERT_TRUE(files.Remove("/data/groups/b").ok());
    ASSERT_TRUE(files.SyncFolder("/data/groups/").ok());
    ASSERT_TRUE(file->Write(0, "x", 1).ok());  // it has no name any more
    char c;
    ASSERT_TRUE(file->Read(0, &c, 1).ok());
    ASSERT_TRUE(file->Size().ok());
    ASSERT_TRUE(file->TryLock(0, 1, LockKind::kShared).ok());
  }
  EXPECT_EQ(Kinds(files), (std::vector{kCreateFolder, kCreateFolder, kCreate, kWrite, kTruncate,
                                       kSync, kRename, kRemove, kSyncFolder, kWrite}));
  const Event& write = files.Events()[3];
  EXPECT_EQ(write.path, "/data/groups/a");
  EXPECT_EQ(write.offset, 2u);
  EXPECT_EQ(write.size, 3u);
  EXPECT_EQ(write.bytes, "abc");
  EXPECT_EQ(files.Events()[4].size, 4u);
  EXPECT_EQ(files.Events()[6].to, "/data/groups/b");
  EXPECT_EQ(files.Events()[8].path, "/data/groups");
  EXPECT_EQ(files.OpenFileCount(), 0);

  files.StartRecording();
  EXPECT_TRUE(files.Events().empty());
  files.StopRecording();
  files.Put("/c", "x");
  EXPECT_TRUE(files.Events().empty());
}

TEST(MemoryFileSystem, FailedCallsAreNotRecorded) {
  MemoryFileSystem files;
  files.Put("/a", "x");
  files.StartRecording();
  EXPECT_FALSE(files.Open("/none", {}).ok());
  EXPECT_FALSE(files.Remove("/none").ok());
  EXPECT_FALSE(files.Rename("/none", "/b").ok());
  const auto file = *files.Open("/a", {});
  files.FailCall(1, Call::kWrite | Call::kTruncate | Call::kSync, Fault::kIoError, true);
  EXPECT_FALSE(file->Write(0, "y", 1).ok());
  EXPECT_FALSE(file->Truncate(0).ok());
  EXPECT_FALSE(file->Sync().ok());
  EXPECT_TRUE(files.Events().empty());
  EXPECT_EQ(files.Get("/a"), "x");
}

TEST(MemoryFileSystem, FailsTheNthCallOfAKind) {
  MemoryFileSystem files;
  const auto file = *files.Open("/a", Creating());
  files.FailCall(3, Call::kWrite, Fault::kNoSpace);
  EXPECT_TRUE(file->Write(0, "1", 1).ok());
  EXPECT_TRUE(file->Sync().ok());  // another kind: not counted
  EXPECT_TRUE(file->Write(1, "2", 1).ok());
  EXPECT_FALSE(files.FaultHit());
  EXPECT_EQ(file->Write(2, "3", 1).code(), StatusCode::kNoSpace);
  EXPECT_TRUE(files.FaultHit());
  EXPECT_TRUE(file->Write(2, "4", 1).ok());  // once only
  EXPECT_EQ(files.Get("/a"), "124");
  EXPECT_EQ(files.CallCount(), 4u);

  files.FailCall(2, Call::kAny, Fault::kDenied, true);
  EXPECT_TRUE(files.Stat("/a").ok());
  EXPECT_EQ(files.Stat("/a").status().code(), StatusCode::kDenied);
  EXPECT_EQ(files.List("/").status().code(), StatusCode::kDenied);
  EXPECT_EQ(files.Open("/a", {}).status().code(), StatusCode::kDenied);
  files.ClearFault();
  EXPECT_TRUE(files.Stat("/a").ok());
  EXPECT_EQ(files.CallCount(), 1u);
}

TEST(MemoryFileSystem, ShortWritesWriteHalf) {
  MemoryFileSystem files;
  const auto file = *files.Open("/a", Creating());
  files.FailCall(1, Call::kWrite, Fault::kShortWrite);
  EXPECT_EQ(file->Write(0, "12345678", 8).code(), StatusCode::kNoSpace);
  EXPECT_EQ(files.Get("/a"), "1234");
  EXPECT_EQ(files.Events().back().bytes, "1234");
  files.FailCall(1, Call::kTruncate, Fault::kShortWrite);
  EXPECT_EQ(file->Truncate(100).code(), StatusCode::kNoSpace);
  EXPECT_EQ(*file->Size(), 4u);
}

TEST(MemoryFileSystem, EveryKindOfCallCanFail) {
  MemoryFileSystem files;
  files.Put("/a", "x");
  const auto file = *files.Open("/a", {});
  char c = 0;
  const auto fails = [&](Call kind, auto call) {
    files.FailCall(1, kind, Fault::kBusy);
    return call() == StatusCode::kBusy && files.FaultHit() && call() != StatusCode::kBusy;
  };
  EXPECT_TRUE(fails(Call::kOpen, [&] { return files.Open("/a", {}).status().code(); }));
  EXPECT_TRUE(fails(Call::kRead, [&] { return file->Read(0, &c, 1).status().code(); }));
  EXPECT_TRUE(fails(Call::kWrite, [&] { return file->Write(0, "x", 1).code(); }));
  EXPECT_TRUE(fails(Call::kTruncate, [&] { return file->Truncate(1).code(); }));
  EXPECT_TRUE(fails(Call::kSync, [&] { return file->Sync().code(); }));
  EXPECT_TRUE(fails(Call::kSync, [&] { return files.SyncFolder("/").code(); }));
  EXPECT_TRUE(fails(Call::kLock, [&] { return file->TryLock(0, 1, LockKind::kShared).code(); }));
  EXPECT_TRUE(fails(Call::kStat, [&] { return files.Stat("/a").status().code(); }));
  EXPECT_TRUE(fails(Call::kStat, [&] { return file->Size().status().code(); }));
  EXPECT_TRUE(fails(Call::kList, [&] { return files.List("/").status().code(); }));
  EXPECT_TRUE(fails(Call::kCreateFolder, [&] { return files.CreateFolders("/f").code(); }));
  EXPECT_TRUE(fails(Call::kRename, [&] { return files.Rename("/a", "/b").code(); }));
  EXPECT_TRUE(fails(Call::kRemove, [&] { return files.Remove("/b").code(); }));
}

// Whatever fails while a file is replaced, the name leads to the old content or the new one, and
// nothing is left beside it unless removing it failed too.
TEST(MemoryFileSystem, ReplaceFileFailsCleanly) {
  MemoryFileSystem files;
  files.Put("/f/a", "old content");
  const MemoryImage start = files.Snapshot();
  int tried = 0;
  for (std::uint64_t n = 1;; ++n) {
    files.Restore(start);
    files.FailCall(n, Call::kAny, Fault::kShortWrite);
    const Status status = ReplaceFile(&files, "/f/a", "new content");
    const bool hit = files.FaultHit();
    files.ClearFault();
    EXPECT_EQ(status.ok(), !hit);
    const std::string content = files.Get("/f/a");
    EXPECT_TRUE(content == "old content" || content == "new content") << content;
    EXPECT_EQ(files.List("/f")->size(), 1u);
    EXPECT_EQ(files.OpenFileCount(), 0);
    if (!hit) break;
    ++tried;
  }
  EXPECT_EQ(tried, 5);  // open, write, sync, rename, sync of the folder
}

TEST(MemoryFileSystem, ReplaceFileSurvivesACrashAnywhere) {
  MemoryFileSystem files;
  files.Put("/f/a", "old content");
  files.StartRecording();
  ASSERT_TRUE(ReplaceFile(&files, "/f/a", "new content").ok());
  CrashReplay replay(files);
  ASSERT_EQ(replay.size(), 5u);  // create, write, sync, rename, sync of the folder
  std::string seen;
  for (std::size_t n = 0; n <= replay.size(); ++n) {
    replay.StepTo(n);
    for (const MemoryImage& image : {replay.Image(), replay.TornImage(3), replay.PowerCutImage()}) {
      const std::string content = ContentOr(image, "/f/a", "none");
      EXPECT_TRUE(content == "old content" || content == "new content") << n << content;
    }
    seen += ContentOr(replay.Image(), "/f/a", "none")[0];
  }
  EXPECT_EQ(seen, "oooonn");
  EXPECT_EQ(ContentOr(replay.PowerCutImage(), "/f/a", "none"), "new content");
}

TEST(CrashReplay, YieldsTheFilesAfterEachChange) {
  MemoryFileSystem files;
  files.Put("/a", "base");
  files.PlantSymlink("/link", "a");
  files.StartRecording();
  {
    const auto file = *files.Open("/a", {});
    ASSERT_TRUE(file->TryLock(0, 1, LockKind::kExclusive).ok());
    ASSERT_TRUE(file->Write(0, "BA", 2).ok());
    ASSERT_TRUE(file->Write(4, "!!", 2).ok());
    ASSERT_TRUE(file->Truncate(3).ok());
    ASSERT_TRUE(files.Rename("/a", "/b").ok());
    ASSERT_TRUE(file->Write(2, "-", 1).ok());
    ASSERT_TRUE(files.Remove("/b").ok());
    ASSERT_TRUE(file->Write(0, "gone", 4).ok());
  }
  CrashReplay replay(files);
  const auto at = [&](std::size_t n) {
    replay.StepTo(n);
    const MemoryImage image = replay.Image();
    return ContentOr(image, "/a", "-") + "," + ContentOr(image, "/b", "-");
  };
  const std::vector<std::string> expected = {"base,-", "BAse,-", "BAse!!,-", "BAs,-",
                                             "-,BAs",  "-,BA-",  "-,-",      "-,-"};
  ASSERT_EQ(replay.size() + 1, expected.size());
  for (std::size_t n = 0; n < expected.size(); ++n) EXPECT_EQ(at(n), expected[n]) << n;
  for (std::size_t n = expected.size(); n-- > 0;) EXPECT_EQ(at(n), expected[n]) << n;

  replay.StepTo(1);
  EXPECT_EQ(ContentOr(replay.TornImage(1), "/a", "-"), "BAse!");
  EXPECT_EQ(ContentOr(replay.TornImage(0), "/a", "-"), "BAse");
  EXPECT_EQ(ContentOr(replay.Image(), "/a", "-"), "BAse");
  MemoryFileSystem after(replay.Image());
  EXPECT_EQ(after.Get("/link"), "BAse");
  // Locks and share modes died with the process.
  OpenOptions alone;
  alone.share = ShareMode::kDenyAll;
  const auto file = after.Open("/a", alone);
  ASSERT_TRUE(file.ok());
  EXPECT_TRUE((*file)->TryLock(0, 1, LockKind::kExclusive).ok());
}

TEST(CrashReplay, ImagesDoNotShareChanges) {
  MemoryFileSystem files;
  const auto file = *files.Open("/a", Creating());
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(file->Write(0, std::to_string(i).data(), 1).ok());
  CrashReplay replay(files);
  std::vector<MemoryImage> images;
  for (std::size_t n = 1; n <= replay.size(); ++n) {
    replay.StepTo(n);
    images.push_back(replay.Image());
  }
  MemoryFileSystem changed(images[5]);
  ASSERT_TRUE((*changed.Open("/a", {}))->Write(0, "X", 1).ok());
  EXPECT_EQ(changed.Get("/a"), "X");
  EXPECT_EQ(*images[0].Find("/a"), "");
  for (std::size_t i = 1; i < images.size(); ++i) {
    EXPECT_EQ(*images[i].Find("/a"), std::to_string(i - 1));
  }
}

TEST(CrashReplay, APowerCutKeepsOnlyWhatWasSynced) {
  MemoryFileSystem files;
  files.Put("/f/old", "old");
  files.StartRecording();
  const auto at = [&] {
    CrashReplay replay(files);
    replay.StepTo(replay.size());
    return replay.PowerCutImage();
  };
  const auto file = *files.Open("/f/new", Creating());
  ASSERT_TRUE(file->Write(0, "synced", 6).ok());
  ASSERT_TRUE(file->Sync().ok());
  EXPECT_EQ(ContentOr(at(), "/f/new", "none"), "none");
  ASSERT_TRUE(files.SyncFolder("/f").ok());
  EXPECT_EQ(ContentOr(at(), "/f/new", "none"), "synced");
  ASSERT_TRUE(file->Write(0, "SY", 2).ok());
  EXPECT_EQ(ContentOr(at(), "/f/new", "none"), "synced");
  ASSERT_TRUE(files.Rename("/f/new", "/f/old").ok());
  EXPECT_EQ(ContentOr(at(), "/f/old", "none"), "old");
  EXPECT_EQ(ContentOr(at(), "/f/new", "none"), "synced");
  ASSERT_TRUE(file->Sync().ok());
  ASSERT_TRUE(files.SyncFolder("/f").ok());
  EXPECT_EQ(ContentOr(at(), "/f/old", "none"), "SYnced");
  EXPECT_EQ(ContentOr(at(), "/f/new", "none"), "none");
  ASSERT_TRUE(files.Remove("/f/old").ok());
  EXPECT_EQ(ContentOr(at(), "/f/old", "none"), "SYnced");
}

TEST(MemoryFileSystem, SnapshotAndRestore) {
  MemoryFileSystem files;
  files.Put("/f/a", "one");
  ASSERT_TRUE(files.CreateFolders("/empty").ok());
  const MemoryImage image = files.Snapshot();
  const auto open = *files.Open("/f/a", {});
  ASSERT_TRUE(open->Write(0, "two", 3).ok());
  files.Put("/b", "new");
  EXPECT_EQ(*image.Find("/f/a"), "one");
  files.Restore(image);
  EXPECT_EQ(files.Get("/f/a"), "one");
  EXPECT_FALSE(files.Has("/b"));
  EXPECT_TRUE(files.Has("/empty"));
  char c = 0;
  EXPECT_EQ(*open->Read(0, &c, 1), 1u);
  EXPECT_EQ(c, 't');
  ASSERT_TRUE(open->Write(0, "X", 1).ok());
  EXPECT_EQ(files.Get("/f/a"), "one");
}

TEST(MemoryFileSystem, ReadOnlyFileSystem) {
  MemoryFileSystem files;
  files.Put("/a", "x");
  files.SetReadOnly(true);
  const auto file = files.Open("/a", Creating());
  ASSERT_TRUE(file.ok());
  EXPECT_TRUE((*file)->read_only());
  EXPECT_EQ(files.Open("/b", Creating()).status().code(), StatusCode::kDenied);
  EXPECT_EQ(files.Remove("/a").code(), StatusCode::kDenied);
  EXPECT_EQ(files.Rename("/a", "/b").code(), StatusCode::kDenied);
  EXPECT_EQ(files.CreateFolders("/f").code(), StatusCode::kDenied);
  files.SetReadOnly(false);
  EXPECT_FALSE((*files.Open("/a", {}))->read_only());
}

TEST(MemoryFileSystem, HooksActAsAnotherProgram) {
  MemoryFileSystem files;
  files.Put("/a", "x");
  const auto file = *files.Open("/a", {});
  std::vector<std::string> seen;
  files.FailCall(1, Call::kWrite, Fault::kIoError);
  files.SetHook(Call::kLock | Call::kSleep, [&](Call kind, const std::string& path) {
    seen.push_back((kind == Call::kLock ? "lock " : "sleep ") + path);
    files.Put("/a", "changed meanwhile");
    const auto other = files.Open("/a", {});
    EXPECT_TRUE(other.ok() && (*other)->Write(0, "C", 1).ok());  // not failed
  });
  ASSERT_TRUE(file->TryLock(0, 1, LockKind::kExclusive).ok());
  EXPECT_EQ(files.Get("/a"), "Changed meanwhile");
  files.SleepMicroseconds(7);
  EXPECT_EQ(seen, (std::vector<std::string>{"lock /a", "sleep "}));
  files.SetHook(Call::kAny, {});
  EXPECT_FALSE(file->Write(0, "y", 1).ok());
  EXPECT_EQ(seen.size(), 2u);
}

TEST(MemoryFileSystem, OnlySleepingMovesItsClock) {
  MemoryFileSystem files;
  const std::uint64_t start = files.MonotonicMicroseconds();
  files.Put("/a", "x");
  EXPECT_EQ(files.MonotonicMicroseconds(), start);
  files.SleepMicroseconds(1234);
  EXPECT_EQ(files.MonotonicMicroseconds(), start + 1234);
}

TEST(MemoryFileSystem, NamesKeepTheirLetterCase) {
  MemoryFileSystem files;
  files.Put("/a", "lower");
  files.Put("/A", "upper");
  EXPECT_EQ(files.Get("/a"), "lower");
  EXPECT_EQ(files.Get("\\A"), "upper");
  EXPECT_EQ(files.Get("/x/../A"), "upper");
}

TEST(MemoryFileSystem, RefusesHugeFiles) {
  MemoryFileSystem files;
  const auto file = *files.Open("/a", Creating());
  EXPECT_EQ(file->Write(MemoryFileSystem::kLargestFile, "x", 1).code(), StatusCode::kNoSpace);
  EXPECT_EQ(file->Truncate(MemoryFileSystem::kLargestFile + 1).code(), StatusCode::kNoSpace);
  EXPECT_EQ(*file->Size(), 0u);
}

}  // namespace
}  // namespace pv::platform
