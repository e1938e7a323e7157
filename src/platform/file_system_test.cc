// The contract of the file seam, one suite for every implementation.
#include "platform/file_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include "platform/memory/memory_file_system.h"
#include "platform/system.h"
#include "platform/test_folder.h"

namespace pv::platform {
namespace {

// A file system under test and a folder in it that is empty at first.
class Place {
 public:
  virtual ~Place() = default;
  virtual FileSystem* files() = 0;
  virtual std::string folder() = 0;
  // False where the system lets nobody make one.
  virtual bool PlantSymlink(const std::string& path, const std::string& target) = 0;
};

class SystemPlace : public Place {
 public:
  FileSystem* files() override { return OperatingSystem().files; }
  std::string folder() override { return folder_.path(); }
  bool PlantSymlink(const std::string& path, const std::string& target) override {
    std::error_code error;
    std::filesystem::create_symlink(target, path, error);
    return !error;
  }

 private:
  TestFolder folder_;
};

class MemoryPlace : public Place {
 public:
  MemoryPlace() { EXPECT_TRUE(files_.CreateFolders(folder()).ok()); }
  FileSystem* files() override { return &files_; }
  std::string folder() override { return "/here"; }
  bool PlantSymlink(const std::string& path, const std::string& target) override {
    files_.PlantSymlink(path, target);
    return true;
  }

 private:
  MemoryFileSystem files_;
};

struct Kind {
  const char* name;
  bool memory;
  bool mapped;
};

// Whether a file that is open gives up its name to another. Older systems of the Windows family,
// and what stands in for them, refuse that.
bool OpenFilesGiveUpTheirNames() {
  static const bool they_do = [] {
    SystemPlace place;
    OpenOptions options;
    options.create = CreateMode::kCreateNew;
    const std::string name = JoinPath(place.folder(), "a");
    const auto open = place.files()->Open(name, options);
    EXPECT_TRUE(open.ok());
    EXPECT_TRUE(place.files()->Open(name + "b", options).ok());
    return place.files()->Rename(name + "b", name).ok();
  }();
  return they_do;
}

class FileSystemTest : public testing::TestWithParam<Kind> {
 protected:
  FileSystemTest() {
    if (GetParam().memory) {
      place_ = std::make_unique<MemoryPlace>();
    } else {
      place_ = std::make_unique<SystemPlace>();
    }
    files_ = place_->files();
  }

  std::string Path(const std::string& name) { return JoinPath(place_->folder(), name); }

  OpenOptions Options(CreateMode create = CreateMode::kOpenExisting,
                      ShareMode share = ShareMode::kDenyNone) {
    OpenOptions options;
    options.create = create;
    options.share = share;
    options.mapped = GetParam().mapped;
    return options;
  }

  std::unique_ptr<File> Open(const std::string& name, CreateMode create = CreateMode::kOpenExisting,
                             ShareMode share = ShareMode::kDenyNone) {
    Result<std::unique_ptr<File>> file = files_->Open(Path(name), Options(create, share));
    EXPECT_TRUE(file.ok()) << file.status().message();
    return file.ok() ? std::move(*file) : nullptr;
  }

  StatusCode OpenCode(const std::string& name, CreateMode create = CreateMode::kOpenExisting,
                      ShareMode share = ShareMode::kDenyNone) {
    return files_->Open(Path(name), Options(create, share)).status().code();
  }

  bool NamesAreKept() const { return !GetParam().memory && !OpenFilesGiveUpTheirNames(); }

  void Make(const std::string& name, std::string_view content) {
    const std::unique_ptr<File> file = Open(name, CreateMode::kOpenOrCreate);
    ASSERT_NE(file, nullptr);
    ASSERT_TRUE(file->Truncate(0).ok());
    ASSERT_TRUE(file->Write(0, content.data(), content.size()).ok());
  }

  std::string Content(const std::string& name) {
    const Result<std::string> content = ReadWholeFile(files_, Path(name), 1 << 30);
    EXPECT_TRUE(content.ok()) << content.status().message();
    return content.ok() ? *content : "";
  }

  static std::string ReadAt(File* file, std::uint64_t offset, std::size_t size) {
    std::string bytes(size, '?');
    const Result<std::size_t> got = file->Read(offset, bytes.data(), size);
    EXPECT_TRUE(got.ok()) << got.status().message();
    bytes.resize(got.ok() ? *got : 0);
    return bytes;
  }

  std::unique_ptr<Place> place_;
  FileSystem* files_;
};

TEST_P(FileSystemTest, CreationModes) {
  EXPECT_EQ(OpenCode("a"), StatusCode::kNotFound);
  EXPECT_EQ(OpenCode("a", CreateMode::kCreateNew), StatusCode::kOk);
  EXPECT_EQ(OpenCode("a", CreateMode::kCreateNew), StatusCode::kExists);
  EXPECT_EQ(OpenCode("a"), StatusCode::kOk);
  EXPECT_EQ(OpenCode("b", CreateMode::kOpenOrCreate), StatusCode::kOk);
  Make("b", "kept");
  EXPECT_EQ(OpenCode("b", CreateMode::kOpenOrCreate), StatusCode::kOk);
  EXPECT_EQ(Content("b"), "kept");
  EXPECT_EQ(OpenCode("missing/a", CreateMode::kOpenOrCreate), StatusCode::kNotFound);
  EXPECT_EQ(OpenCode("b/a", CreateMode::kOpenExisting), StatusCode::kNotFound);
  EXPECT_EQ(files_->Open("", Options()).status().code(), StatusCode::kInvalid);
  EXPECT_EQ(files_->Open(Path(std::string("a\0b", 3)), Options()).status().code(),
            StatusCode::kInvalid);
}

TEST_P(FileSystemTest, BothSeparatorsLeadToTheFile) {
  ASSERT_TRUE(files_->CreateFolders(Path("x\\y")).ok());
  const auto file =
      files_->Open(place_->folder() + "\\x\\y/name.dbf", Options(CreateMode::kCreateNew));
  ASSERT_TRUE(file.ok()) << file.status().message();
  EXPECT_TRUE(files_->Stat(Path("x/y/name.dbf")).ok());
}

TEST_P(FileSystemTest, FoldersAreNoFiles) {
  ASSERT_TRUE(files_->CreateFolders(Path("folder/in/folder")).ok());
  EXPECT_TRUE(files_->CreateFolders(Path("folder/in/folder/")).ok());
  EXPECT_FALSE(files_->Open(Path("folder"), Options()).ok());
  OpenOptions reading;
  reading.read_only = true;
  EXPECT_FALSE(files_->Open(Path("folder"), reading).ok());
  EXPECT_TRUE(files_->Stat(Path("folder/in"))->is_directory);
  EXPECT_FALSE(files_->Remove(Path("folder")).ok());
  Make("file", "x");
  EXPECT_FALSE(files_->CreateFolders(Path("file/in")).ok());
  EXPECT_FALSE(files_->CreateFolders(Path("file")).ok());
}

TEST_P(FileSystemTest, ReadsShortAtTheEndOnly) {
  Make("a", "0123456789");
  const auto file = Open("a");
  EXPECT_EQ(ReadAt(file.get(), 0, 10), "0123456789");
  EXPECT_EQ(ReadAt(file.get(), 0, 100), "0123456789");
  EXPECT_EQ(ReadAt(file.get(), 7, 2), "78");
  EXPECT_EQ(ReadAt(file.get(), 7, 3), "789");
  EXPECT_EQ(ReadAt(file.get(), 7, 4), "789");
  EXPECT_EQ(ReadAt(file.get(), 10, 4), "");
  EXPECT_EQ(ReadAt(file.get(), 5000, 4), "");
  EXPECT_EQ(ReadAt(file.get(), std::uint64_t{1} << 62, 4), "");
  EXPECT_EQ(ReadAt(file.get(), UINT64_MAX, 4), "");
  EXPECT_EQ(ReadAt(file.get(), 3, 0), "");
}

// Reading in passing gives the same bytes, piece by piece or many at once, also when the file
// grows or is cut short meanwhile.
TEST_P(FileSystemTest, ReadsInPassingAsInPlace) {
  constexpr std::size_t kSize = 300;
  constexpr std::size_t kPieces = 10'000;
  std::string content(kSize * kPieces, '\0');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * i >> 7);
  Make("a", content);
  const auto file = Open("a");
  std::string bytes(content.size() + kSize, '?');
  std::vector<File::Piece> pieces;
  const auto add = [&](std::size_t piece) {
    pieces.push_back({piece * kSize, bytes.data() + piece * kSize});
  };
  for (std::size_t i = 0; i < kPieces; ++i) add(i * 7919 % kPieces);
  auto read = file->ReadPieces(pieces, kSize);
  ASSERT_TRUE(read.ok());
  EXPECT_EQ(*read, kPieces);
  EXPECT_EQ(bytes.substr(0, content.size()), content);
  EXPECT_EQ(bytes.substr(content.size()), std::string(kSize, '?'));

  const auto other = Open("a");
  ASSERT_TRUE(other->Write(content.size(), content.data(), kSize).ok());
  pieces.clear();
  for (const std::size_t i : {kPieces - 1, kPieces, std::size_t{3}}) add(i);
  read = file->ReadPieces(pieces, kSize);
  EXPECT_TRUE(read.ok() && *read == 3);
  EXPECT_EQ(bytes.substr(content.size()), content.substr(0, kSize));

  ASSERT_TRUE(other->Truncate(kSize * 100).ok());
  pieces.clear();
  for (const std::size_t i : {98, 99, 5000, 1}) add(i);
  read = file->ReadPieces(pieces, kSize);
  EXPECT_TRUE(read.ok() && *read == 2);
  for (const std::size_t at : {0, 12, 29'990}) {
    const auto got = file->ReadOnce(at, bytes.data(), kSize);
    ASSERT_TRUE(got.ok());
    EXPECT_EQ(bytes.substr(0, *got), content.substr(at, std::min(kSize, 30'000 - at)));
  }
  file->StartSync();
  EXPECT_TRUE(file->Sync().ok());
}

TEST_P(FileSystemTest, TheRoughClockKeepsUp) {
  const std::uint64_t start = files_->RoughMicroseconds();
  files_->SleepMicroseconds(30'000);
  EXPECT_GE(files_->RoughMicroseconds() - start, 20'000u);
}

TEST_P(FileSystemTest, WritesExtendAndFillGapsWithZeros) {
  const auto file = Open("a", CreateMode::kCreateNew);
  EXPECT_TRUE(file->Write(0, "abc", 3).ok());
  EXPECT_TRUE(file->Write(1, "X", 1).ok());
  EXPECT_TRUE(file->Write(6, "def", 3).ok());
  EXPECT_EQ(ReadAt(file.get(), 0, 100), std::string("aXc\0\0\0def", 9));
  EXPECT_TRUE(file->Write(8, "FG", 2).ok());  // across the end
  EXPECT_EQ(ReadAt(file.get(), 6, 100), "deFG");
  EXPECT_EQ(*file->Size(), 10u);
  EXPECT_TRUE(file->Write(50, "x", 0).ok());
  EXPECT_EQ(*file->Size(), 10u);
  EXPECT_EQ(file->Write(UINT64_MAX - 3, "x", 1).code(), StatusCode::kInvalid);
  EXPECT_EQ(file->Write(UINT64_MAX, "xx", 2).code(), StatusCode::kInvalid);
  EXPECT_EQ(*file->Size(), 10u);
}

TEST_P(FileSystemTest, TruncateCutsAndExtends) {
  Make("a", "0123456789");
  const auto file = Open("a");
  const auto other = Open("a");
  EXPECT_EQ(ReadAt(other.get(), 0, 10), "0123456789");
  EXPECT_TRUE(file->Truncate(4).ok());
  EXPECT_EQ(ReadAt(file.get(), 2, 10), "23");
  EXPECT_EQ(*other->Size(), 4u);
  EXPECT_EQ(ReadAt(other.get(), 2, 10), "23");
  EXPECT_TRUE(file->Truncate(20'000).ok());
  EXPECT_EQ(*file->Size(), 20'000u);
  EXPECT_EQ(ReadAt(file.get(), 2, 10), std::string("23\0\0\0\0\0\0\0\0", 10));
  EXPECT_EQ(ReadAt(file.get(), 19'998, 10), std::string(2, '\0'));
  EXPECT_EQ(file->Truncate(UINT64_MAX).code(), StatusCode::kInvalid);
  EXPECT_TRUE(file->Truncate(0).ok());
  EXPECT_EQ(ReadAt(file.get(), 0, 10), "");
  EXPECT_TRUE(file->Sync().ok());
}

TEST_P(FileSystemTest, GrowthByAnotherFileIsSeenAtOnce) {
  Make("a", "");
  const auto writer = Open("a");
  const auto reader = Open("a");
  std::string whole;
  for (int i = 0; i < 2000; ++i) {
    const std::string record = "record " + std::to_string(i) + ";";
    ASSERT_TRUE(writer->Write(whole.size(), record.data(), record.size()).ok());
    ASSERT_EQ(ReadAt(reader.get(), whole.size(), 100), record);
    whole += record;
  }
  EXPECT_EQ(*reader->Size(), whole.size());
  ASSERT_TRUE(reader->Write(3, "###", 3).ok());
  EXPECT_EQ(ReadAt(writer.get(), 0, 8), "rec### 0");
}

TEST_P(FileSystemTest, RandomWorkEqualsAString) {
  std::mt19937 random(20'240'229);
  const auto file = Open("a", CreateMode::kCreateNew);
  const auto other = Open("a");
  std::string model;
  const auto below = [&](std::size_t n) { return random() % (n + 1); };
  for (int i = 0; i < 4000; ++i) {
    File* const actor = random() % 2 == 0 ? file.get() : other.get();
    switch (random() % 8) {
      case 0:
      case 1:
      case 2: {
        const std::size_t offset = below(std::min<std::size_t>(model.size() + 50, 300'000));
        const std::string bytes(below(3000), static_cast<char>('a' + i % 26));
        ASSERT_TRUE(actor->Write(offset, bytes.data(), bytes.size()).ok());
        if (bytes.empty()) break;
        if (model.size() < offset + bytes.size()) model.resize(offset + bytes.size());
        std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<std::ptrdiff_t>(offset));
        break;
      }
      case 3:
        if (i % 10 != 0) break;
        model.resize(below(model.size() + 5000));
        ASSERT_TRUE(actor->Truncate(model.size()).ok());
        // The other one may go by the old size until it asks.
        ASSERT_EQ(*file->Size(), model.size());
        ASSERT_EQ(*other->Size(), model.size());
        break;
      default: {
        const std::size_t offset = below(model.size() + 20);
        const std::size_t size = below(5000);
        const std::string expected = offset < model.size() ? model.substr(offset, size) : "";
        ASSERT_EQ(ReadAt(actor, offset, size), expected) << "step " << i;
      }
    }
  }
  EXPECT_EQ(Content("a"), model);
}

TEST_P(FileSystemTest, ShareModes) {
  Make("a", "x");
  using enum ShareMode;
  {
    const auto first = Open("a");
    const auto second = Open("a");
    EXPECT_EQ(OpenCode("a", CreateMode::kOpenExisting, kDenyAll), StatusCode::kBusy);
    EXPECT_EQ(OpenCode("a", CreateMode::kOpenExisting, kDenyWrite), StatusCode::kBusy);
  }
  {
    const auto alone = Open("a", CreateMode::kOpenExisting, kDenyAll);
    EXPECT_EQ(OpenCode("a"), StatusCode::kBusy);
    EXPECT_EQ(OpenCode("a", CreateMode::kOpenOrCreate), StatusCode::kBusy);
    EXPECT_EQ(OpenCode("a", CreateMode::kOpenExisting, kDenyAll), StatusCode::kBusy);
    OpenOptions reading = Options();
    reading.read_only = true;
    EXPECT_EQ(files_->Open(Path("a"), reading).status().code(), StatusCode::kBusy);
  }
  EXPECT_EQ(OpenCode("a", CreateMode::kOpenExisting, kDenyAll), StatusCode::kOk);
  const auto created = Open("b", CreateMode::kCreateNew, kDenyAll);
  EXPECT_EQ(OpenCode("b"), StatusCode::kBusy);
#ifdef _WIN32
  if (!GetParam().memory) return;  // every program claims something there
#endif
  // Who claims nothing neither waits for others nor keeps them out.
  EXPECT_EQ(OpenCode("b", CreateMode::kOpenExisting, kUnclaimed), StatusCode::kOk);
  const auto unclaimed = Open("a", CreateMode::kOpenExisting, kUnclaimed);
  EXPECT_EQ(OpenCode("a", CreateMode::kOpenExisting, kDenyAll), StatusCode::kOk);
}

TEST_P(FileSystemTest, LocksConflictBetweenFilesOfOneProcess) {
  Make("a", "0123456789");
  const auto first = Open("a");
  const auto second = Open("a");
  using enum LockKind;
  EXPECT_TRUE(first->TryLock(10, 5, kExclusive).ok());
  EXPECT_EQ(second->TryLock(14, 1, kExclusive).code(), StatusCode::kBusy);
  EXPECT_EQ(second->TryLock(14, 1, kShared).code(), StatusCode::kBusy);
  EXPECT_EQ(second->TryLock(5, 6, kShared).code(), StatusCode::kBusy);
  EXPECT_EQ(second->TryLock(0, 100, kExclusive).code(), StatusCode::kBusy);
  EXPECT_TRUE(second->TryLock(15, 1, kExclusive).ok());
  EXPECT_TRUE(second->TryLock(9, 1, kExclusive).ok());
  EXPECT_TRUE(first->Unlock(10, 5).ok());
  EXPECT_TRUE(second->TryLock(14, 1, kShared).ok());
  EXPECT_TRUE(first->TryLock(14, 1, kShared).ok());
  EXPECT_EQ(first->TryLock(14, 1, kExclusive).code(), StatusCode::kBusy);
  EXPECT_TRUE(second->Unlock(14, 1).ok());
  EXPECT_TRUE(first->TryLock(14, 1, kExclusive).ok());  // takes the place of the shared one
  EXPECT_EQ(second->TryLock(14, 1, kShared).code(), StatusCode::kBusy);
  EXPECT_TRUE(first->TryLock(14, 1, kShared).ok());
  EXPECT_TRUE(second->TryLock(14, 1, kShared).ok());
  EXPECT_TRUE(first->Unlock(500, 7).ok());  // never held
}

TEST_P(FileSystemTest, LocksAtTheAddressesOfTheTables) {
  Make("a", "");
  const auto first = Open("a");
  const auto second = Open("a");
  using enum LockKind;
  EXPECT_TRUE(first->TryLock(0x7FFFFFFE, 1, kExclusive).ok());
  EXPECT_TRUE(first->TryLock(0x7FFFFFFE - 17, 1, kExclusive).ok());
  EXPECT_TRUE(second->TryLock(0x7FFFFFFE - 18, 1, kExclusive).ok());
  EXPECT_EQ(second->TryLock(0x77FFFFFF, 0x07FFFFFF, kExclusive).code(), StatusCode::kBusy);
  EXPECT_TRUE(first->Unlock(0x7FFFFFFE - 17, 1).ok());
  EXPECT_TRUE(first->Unlock(0x7FFFFFFE, 1).ok());
  EXPECT_TRUE(second->TryLock(0x77FFFFFF, 0x07FFFFFF, kExclusive).ok());
  EXPECT_EQ(first->TryLock(0x7FFFFFFD, 1, kShared).code(), StatusCode::kBusy);
  EXPECT_TRUE(first->TryLock(0x7FFFFFFE, 1, kShared).ok());  // just behind that range
  EXPECT_EQ(first->TryLock(5, 0, kShared).code(), StatusCode::kInvalid);
  EXPECT_EQ(first->TryLock(UINT64_MAX, 1, kShared).code(), StatusCode::kInvalid);
  EXPECT_EQ(first->TryLock(5, UINT64_MAX, kShared).code(), StatusCode::kInvalid);
  EXPECT_EQ(*first->Size(), 0u);
}

TEST_P(FileSystemTest, ClosingReleasesItsOwnLocksOnly) {
  Make("a", "x");
  auto first = Open("a");
  auto second = Open("a");
  const auto third = Open("a");
  EXPECT_TRUE(first->TryLock(1, 1, LockKind::kExclusive).ok());
  EXPECT_TRUE(second->TryLock(2, 1, LockKind::kExclusive).ok());
  second.reset();
  EXPECT_TRUE(third->TryLock(2, 1, LockKind::kExclusive).ok());
  EXPECT_EQ(third->TryLock(1, 1, LockKind::kExclusive).code(), StatusCode::kBusy);
  first.reset();
  EXPECT_TRUE(third->TryLock(1, 1, LockKind::kExclusive).ok());
}

TEST_P(FileSystemTest, LockWithinGivesUpAfterItsTime) {
  Make("a", "x");
  const auto first = Open("a");
  const auto second = Open("a");
  RangeLock held;
  EXPECT_FALSE(held.held());
  ASSERT_TRUE(LockWithin(files_, first.get(), 7, 1, LockKind::kExclusive, 0, &held).ok());
  EXPECT_TRUE(held.held());
  RangeLock wanted;
  const std::uint64_t start = files_->MonotonicMicroseconds();
  EXPECT_EQ(LockWithin(files_, second.get(), 7, 1, LockKind::kShared, 50, &wanted).code(),
            StatusCode::kBusy);
  const std::uint64_t waited = files_->MonotonicMicroseconds() - start;
  EXPECT_GE(waited, 50'000u);
  EXPECT_LT(waited, 1'000'000u);
  EXPECT_FALSE(wanted.held());
  EXPECT_EQ(LockWithin(files_, second.get(), 7, 1, LockKind::kShared, 0, &wanted).code(),
            StatusCode::kBusy);
  RangeLock moved = std::move(held);
  EXPECT_TRUE(moved.held());
  moved.Release();
  EXPECT_TRUE(LockWithin(files_, second.get(), 7, 1, LockKind::kShared, 0, &wanted).ok());
  EXPECT_EQ(first->TryLock(7, 1, LockKind::kExclusive).code(), StatusCode::kBusy);
  wanted = RangeLock();
  EXPECT_TRUE(first->TryLock(7, 1, LockKind::kExclusive).ok());
}

TEST_P(FileSystemTest, OpenWithinGivesUpAfterItsTime) {
  Make("a", "x");
  auto alone = Open("a", CreateMode::kOpenExisting, ShareMode::kDenyAll);
  const std::uint64_t start = files_->MonotonicMicroseconds();
  EXPECT_EQ(OpenWithin(files_, Path("a"), Options(), 20).status().code(), StatusCode::kBusy);
  EXPECT_GE(files_->MonotonicMicroseconds() - start, 20'000u);
  alone.reset();
  EXPECT_TRUE(OpenWithin(files_, Path("a"), Options(), 20).ok());
  EXPECT_EQ(OpenWithin(files_, Path("b"), Options(), 20).status().code(), StatusCode::kNotFound);
}

TEST_P(FileSystemTest, RenameReplacesAndOpenFilesStayUsable) {
  if (NamesAreKept()) GTEST_SKIP() << "open files keep their names here";
  Make("old", "old content");
  Make("new", "new content");
  const auto reader = Open("old");
  ASSERT_TRUE(files_->Rename(Path("new"), Path("old")).ok());
  EXPECT_EQ(ReadAt(reader.get(), 0, 100), "old content");
  EXPECT_TRUE(reader->Write(0, "OLD", 3).ok());
  EXPECT_EQ(ReadAt(reader.get(), 0, 100), "OLD content");
  EXPECT_EQ(Content("old"), "new content");
  EXPECT_EQ(OpenCode("new"), StatusCode::kNotFound);
  EXPECT_EQ(files_->Rename(Path("new"), Path("old")).code(), StatusCode::kNotFound);
  EXPECT_EQ(Content("old"), "new content");

  const auto follower = Open("old");
  ASSERT_TRUE(files_->Rename(Path("old"), Path("elsewhere")).ok());
  ASSERT_TRUE(follower->Write(0, "NEW", 3).ok());
  EXPECT_EQ(Content("elsewhere"), "NEW content");
  EXPECT_EQ(files_->Rename(Path("elsewhere"), Path("none/x")).code(), StatusCode::kNotFound);
}

TEST_P(FileSystemTest, RenameOverAnOpenFileIsDoneOrRefusedWhole) {
  Make("old", "old content");
  Make("new", "new content");
  auto reader = Open("old");
#ifndef _WIN32
  ASSERT_FALSE(NamesAreKept());
#endif
  const Status renamed = files_->Rename(Path("new"), Path("old"));
  EXPECT_EQ(ReadAt(reader.get(), 0, 100), "old content");
  if (!renamed.ok()) {
    EXPECT_TRUE(NamesAreKept());
    EXPECT_TRUE(renamed.code() == StatusCode::kDenied || renamed.code() == StatusCode::kBusy)
        << renamed.message();
    EXPECT_EQ(Content("old"), "old content");
    EXPECT_EQ(Content("new"), "new content");
    reader.reset();
    ASSERT_TRUE(files_->Rename(Path("new"), Path("old")).ok());
  }
  EXPECT_EQ(Content("old"), "new content");
  EXPECT_EQ(OpenCode("new"), StatusCode::kNotFound);
}

TEST_P(FileSystemTest, RemovedFilesStayUsableWhileOpen) {
  if (NamesAreKept()) GTEST_SKIP() << "open files keep their names here";
  Make("a", "content");
  const auto file = Open("a");
  ASSERT_TRUE(files_->Remove(Path("a")).ok());
  EXPECT_EQ(files_->Remove(Path("a")).code(), StatusCode::kNotFound);
  EXPECT_EQ(files_->Stat(Path("a")).status().code(), StatusCode::kNotFound);
  EXPECT_EQ(ReadAt(file.get(), 0, 100), "content");
  const auto fresh = Open("a", CreateMode::kCreateNew, ShareMode::kDenyAll);
  ASSERT_NE(fresh, nullptr);
  EXPECT_EQ(*fresh->Size(), 0u);
}

TEST_P(FileSystemTest, NothingIsCreatedThroughASymbolicLink) {
  if (!place_->PlantSymlink(Path("link"), Path("target"))) GTEST_SKIP() << "no links here";
  EXPECT_EQ(OpenCode("link"), StatusCode::kNotFound);
  EXPECT_EQ(OpenCode("link", CreateMode::kCreateNew), StatusCode::kExists);
  EXPECT_EQ(OpenCode("link", CreateMode::kOpenOrCreate), StatusCode::kDenied);
  EXPECT_EQ(files_->Stat(Path("target")).status().code(), StatusCode::kNotFound);
  EXPECT_EQ(files_->Stat(Path("link")).status().code(), StatusCode::kNotFound);

  Make("target", "there");
  EXPECT_EQ(OpenCode("link", CreateMode::kCreateNew), StatusCode::kExists);
  EXPECT_EQ(Content("link"), "there");
  const Result<FileInfo> info = files_->Stat(Path("link"));
  ASSERT_TRUE(info.ok());
  EXPECT_TRUE(info->is_symlink);
  EXPECT_EQ(info->size, 5u);
  EXPECT_FALSE(files_->Stat(Path("target"))->is_symlink);

  // Renaming onto a link replaces the link; removing it leaves what it led to.
  Make("fresh", "fresh");
  ASSERT_TRUE(files_->Rename(Path("fresh"), Path("link")).ok());
  EXPECT_FALSE(files_->Stat(Path("link"))->is_symlink);
  EXPECT_EQ(Content("target"), "there");
  place_->PlantSymlink(Path("other"), Path("target"));
  ASSERT_TRUE(files_->Remove(Path("other")).ok());
  EXPECT_EQ(Content("target"), "there");
}

TEST_P(FileSystemTest, LinksToFoldersAndRings) {
  ASSERT_TRUE(files_->CreateFolders(Path("real")).ok());
  Make("real/a", "x");
  if (!place_->PlantSymlink(Path("via"), Path("real"))) GTEST_SKIP() << "no links here";
  EXPECT_EQ(Content("via/a"), "x");
  EXPECT_TRUE(files_->Stat(Path("via"))->is_directory);
  EXPECT_TRUE(files_->Stat(Path("via"))->is_symlink);
  EXPECT_FALSE(files_->Stat(Path("via/a"))->is_symlink);
  place_->PlantSymlink(Path("ring"), Path("gnir"));
  place_->PlantSymlink(Path("gnir"), Path("ring"));
  EXPECT_EQ(OpenCode("ring"), StatusCode::kDenied);
}

TEST_P(FileSystemTest, ListsNames) {
  ASSERT_TRUE(files_->CreateFolders(Path("sub/deep")).ok());
  Make("a", "");
  Make("B.dbf", "");
  Make("sub/inner", "");
  const Result<std::vector<std::string>> names = files_->List(place_->folder());
  ASSERT_TRUE(names.ok());
  EXPECT_THAT(*names, testing::UnorderedElementsAre("a", "B.dbf", "sub"));
  EXPECT_THAT(*files_->List(Path("sub/")), testing::UnorderedElementsAre("inner", "deep"));
  EXPECT_EQ(files_->List(Path("none")).status().code(), StatusCode::kNotFound);
  EXPECT_TRUE(files_->SyncFolder(place_->folder()).ok());
  EXPECT_EQ(files_->SyncFolder(Path("none")).code(), StatusCode::kNotFound);
}

TEST_P(FileSystemTest, ReadOnlyFilesRefuseChanges) {
  Make("a", "content");
  OpenOptions options = Options();
  options.read_only = true;
  const auto file = files_->Open(Path("a"), options);
  ASSERT_TRUE(file.ok());
  EXPECT_TRUE((*file)->read_only());
  EXPECT_EQ(ReadAt(file->get(), 0, 3), "con");
  EXPECT_EQ((*file)->Write(0, "x", 1).code(), StatusCode::kDenied);
  EXPECT_EQ((*file)->Truncate(0).code(), StatusCode::kDenied);
  EXPECT_EQ((*file)->TryLock(0, 1, LockKind::kExclusive).code(), StatusCode::kDenied);
  EXPECT_TRUE((*file)->TryLock(0, 1, LockKind::kShared).ok());
  const auto writer = Open("a");
  EXPECT_FALSE(writer->read_only());
  EXPECT_EQ(writer->TryLock(0, 1, LockKind::kExclusive).code(), StatusCode::kBusy);
}

TEST_P(FileSystemTest, FindsNamesIgnoringCase) {
#ifdef _WIN32
  if (!GetParam().memory) {  // the system itself minds no letter case
    Make("Groups.PVG", "1");
    EXPECT_EQ(*FindIgnoringCase(files_, Path("GROUPS.pvg")), Path("GROUPS.pvg"));
    EXPECT_EQ(Content("groups.pvg"), "1");
    EXPECT_EQ(FindIgnoringCase(files_, Path("x")).status().code(), StatusCode::kNotFound);
    return;
  }
#endif
  Make("Groups.PVG", "1");
  Make("groups.pvg", "2");
  Make("Recipients.dbf", "3");
  EXPECT_EQ(*FindIgnoringCase(files_, Path("groups.pvg")), Path("groups.pvg"));
  EXPECT_EQ(*FindIgnoringCase(files_, Path("GROUPS.pvg")), Path("Groups.PVG"));
  EXPECT_EQ(*FindIgnoringCase(files_, Path("RECIPIENTS.DBF")), Path("Recipients.dbf"));
  EXPECT_EQ(FindIgnoringCase(files_, Path("RECIPIENT.DBF")).status().code(), StatusCode::kNotFound);
  EXPECT_EQ(FindIgnoringCase(files_, Path("none/a")).status().code(), StatusCode::kNotFound);
}

TEST_P(FileSystemTest, ReplacesAndReadsWholeFiles) {
  ASSERT_TRUE(ReplaceFile(files_, Path("a"), "first").ok());
  EXPECT_EQ(Content("a"), "first");
  auto reader = Open("a");
  if (NamesAreKept()) reader.reset();
  ASSERT_TRUE(ReplaceFile(files_, Path("a"), "").ok());
  EXPECT_EQ(Content("a"), "");
  if (reader) {
    EXPECT_EQ(ReadAt(reader.get(), 0, 10), "first");
  }
  EXPECT_THAT(*files_->List(place_->folder()), testing::ElementsAre("a"));
  EXPECT_EQ(ReplaceFile(files_, Path("none/a"), "x").code(), StatusCode::kNotFound);
  Make("big", std::string(1000, 'x'));
  EXPECT_EQ(ReadWholeFile(files_, Path("big"), 999).status().code(), StatusCode::kLimit);
  EXPECT_EQ(ReadWholeFile(files_, Path("big"), 1000)->size(), 1000u);
}

TEST_P(FileSystemTest, WaiterForAFileBeingReplacedGetsTheNewOne) {
  if (NamesAreKept()) GTEST_SKIP() << "open files keep their names here";
  Make("a", "old");
  auto alone = Open("a", CreateMode::kOpenExisting, ShareMode::kDenyAll);
  EXPECT_EQ(OpenCode("a"), StatusCode::kBusy);
  Make("b", "new");
  ASSERT_TRUE(files_->Rename(Path("b"), Path("a")).ok());
  const auto file = Open("a");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(ReadAt(file.get(), 0, 10), "new");
}

TEST_P(FileSystemTest, TwoWritersUnderALockLoseNothing) {
  constexpr int kRounds = 300;
  Make("a", std::string(8, '\0'));
  std::atomic<int> failures = 0;
  // The waiting of the files in memory takes no real time, in which the other writer could go on.
  const auto take = [&](File* file, RangeLock* lock) {
    for (;;) {
      const Status taken =
          LockWithin(files_, file, 0x7FFFFFFE, 1, LockKind::kExclusive, 60'000, lock);
      if (taken.code() != StatusCode::kBusy) return taken.ok();
      std::this_thread::yield();
    }
  };
  const auto work = [&] {
    const auto file = files_->Open(Path("a"), Options());
    for (int i = 0; i < kRounds; ++i) {
      RangeLock lock;
      std::uint64_t count = 0;
      if (!file.ok() || !take(file->get(), &lock) || !(*file)->Read(0, &count, sizeof count).ok()) {
        ++failures;
        return;
      }
      ++count;
      if (!(*file)->Write(0, &count, sizeof count).ok()) ++failures;
    }
  };
  std::thread one(work);
  std::thread two(work);
  one.join();
  two.join();
  EXPECT_EQ(failures, 0);
  std::uint64_t count = 0;
  const std::string bytes = Content("a");
  ASSERT_EQ(bytes.size(), sizeof count);
  std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(&count));
  EXPECT_EQ(count, 2u * kRounds);
}

INSTANTIATE_TEST_SUITE_P(All, FileSystemTest,
                         testing::Values(Kind{"System", false, false},
                                         Kind{"SystemMapped", false, true},
                                         Kind{"Memory", true, false}),
                         [](const auto& param_info) { return param_info.param.name; });

TEST(Paths, Join) {
  EXPECT_EQ(JoinPath("a", "b"), "a/b");
  EXPECT_EQ(JoinPath("a/", "b"), "a/b");
  EXPECT_EQ(JoinPath("a\\", "b"), "a\\b");
  EXPECT_EQ(JoinPath("C:\\a", "b"), "C:\\a\\b");
  EXPECT_EQ(JoinPath("/a\\b/c", "d"), "/a\\b/c/d");
  EXPECT_EQ(JoinPath("a", "\\b"), "a/b");
  EXPECT_EQ(JoinPath("", "b"), "b");
  EXPECT_EQ(JoinPath("a/", ""), "a/");
}

TEST(Paths, Parts) {
  EXPECT_EQ(FolderOf("a/b\\c.dbf"), "a/b\\");
  EXPECT_EQ(NameOf("a/b\\c.dbf"), "c.dbf");
  EXPECT_EQ(FolderOf("c.dbf"), "");
  EXPECT_EQ(NameOf("a/"), "");
  EXPECT_EQ(WithoutExtension("a.b/c.d.dbf"), "a.b/c.d");
  EXPECT_EQ(ExtensionOf("a.b/c.d.dbf"), ".dbf");
  EXPECT_EQ(ExtensionOf("a.b/c"), "");
  EXPECT_EQ(WithoutExtension("a.b\\c"), "a.b\\c");
  EXPECT_EQ(ExtensionOf(".hidden"), "");
  EXPECT_EQ(ExtensionOf(".."), "");
  EXPECT_EQ(ExtensionOf("a."), ".");
  EXPECT_EQ(WithoutExtension("a."), "a");
}

TEST(LockWaiting, PausesGrowAndOtherFailuresEndIt) {
  MemoryFileSystem files;
  files.Put("/a", "x");
  const auto holder = *files.Open("/a", {});
  const auto waiter = *files.Open("/a", {});
  ASSERT_TRUE(holder->TryLock(0, 1, LockKind::kExclusive).ok());
  std::vector<std::uint64_t> times;
  files.SetHook(Call::kSleep, [&](Call, const std::string&) {
    times.push_back(files.MonotonicMicroseconds());
    if (times.size() == 12) (void)holder->Unlock(0, 1);
  });
  RangeLock lock;
  EXPECT_TRUE(LockWithin(&files, waiter.get(), 0, 1, LockKind::kExclusive, 1000, &lock).ok());
  ASSERT_EQ(times.size(), 12u);
  EXPECT_EQ(times[1] - times[0], 20u);
  EXPECT_EQ(times[2] - times[1], 40u);
  EXPECT_EQ(times[11] - times[10], 500u);
  lock.Release();
  files.FailCall(1, Call::kLock, Fault::kIoError);
  EXPECT_EQ(LockWithin(&files, waiter.get(), 0, 1, LockKind::kExclusive, 1000, &lock).code(),
            StatusCode::kIoError);
  EXPECT_EQ(times.size(), 12u);
}

}  // namespace
}  // namespace pv::platform
