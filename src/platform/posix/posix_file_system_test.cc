// What only the POSIX implementation has: modes, other processes, files cut under a mapping.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <functional>

#include "platform/ini_file.h"
#include "platform/posix/file_system_posix.h"
#include "platform/posix/from_errno.h"
#include "platform/test_folder.h"

namespace pv::platform {
namespace {

OpenOptions Creating(bool mapped = true) {
  OpenOptions options;
  options.create = CreateMode::kOpenOrCreate;
  options.mapped = mapped;
  return options;
}

mode_t ModeOf(const std::string& path) {
  struct stat info = {};
  EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

// Another process that runs `body` and then stays until it is let go or killed.
class OtherProcess {
 public:
  explicit OtherProcess(const std::function<bool()>& body) {
    int ready[2];
    int go[2];
    EXPECT_EQ(::pipe2(ready, O_CLOEXEC), 0);
    EXPECT_EQ(::pipe2(go, O_CLOEXEC), 0);
    child_ = ::fork();
    if (child_ == 0) {
      ::close(ready[0]);
      ::close(go[1]);
      const char said = body() ? 'y' : 'n';
      if (::write(ready[1], &said, 1) != 1) ::_exit(2);
      char ignored;
      (void)!::read(go[0], &ignored, 1);
      ::_exit(0);
    }
    ::close(ready[1]);
    ::close(go[0]);
    char said = 'n';
    EXPECT_EQ(::read(ready[0], &said, 1), 1);
    ok_ = said == 'y';
    ::close(ready[0]);
    go_ = go[1];
  }
  ~OtherProcess() {
    if (child_ > 0) End();
  }
  // What its body returned.
  bool ok() const { return ok_; }
  void End() {
    ::close(go_);
    ::waitpid(child_, nullptr, 0);
    child_ = 0;
  }
  void Kill() {
    ::kill(child_, SIGKILL);
    End();
  }

 private:
  pid_t child_ = 0;
  int go_ = -1;
  bool ok_ = false;
};

class PosixFileSystemTest : public testing::Test {
 protected:
  std::unique_ptr<File> Open(const std::string& name, const OpenOptions& options = Creating()) {
    Result<std::unique_ptr<File>> file = files_.Open(folder_ / name, options);
    EXPECT_TRUE(file.ok()) << file.status().message();
    return file.ok() ? std::move(*file) : nullptr;
  }

  TestFolder folder_;
  PosixFileSystem files_;
};

TEST_F(PosixFileSystemTest, FilesAndFoldersArePrivateWhateverTheUmask) {
  for (const mode_t mask : {0000, 0022, 0077, 0777}) {
    const mode_t previous = ::umask(mask);
    const std::string folder = folder_ / ("f" + std::to_string(mask));
    const Status made = files_.CreateFolders(folder + "/inner");
    const auto file = files_.Open(folder + "/inner/a", Creating());
    const Status replaced = ReplaceFile(&files_, folder + "/inner/b", "x");
    ::umask(previous);
    ASSERT_TRUE(made.ok()) << made.message();
    ASSERT_TRUE(file.ok()) << file.status().message();
    ASSERT_TRUE(replaced.ok()) << replaced.message();
    EXPECT_EQ(ModeOf(folder), 0700u);
    EXPECT_EQ(ModeOf(folder + "/inner"), 0700u);
    EXPECT_EQ(ModeOf(folder + "/inner/a"), 0600u);
    EXPECT_EQ(ModeOf(folder + "/inner/b"), 0600u);
  }
}

TEST_F(PosixFileSystemTest, ExistingFilesAndFoldersKeepTheirModes) {
  ASSERT_NE(Open("a"), nullptr);
  ASSERT_EQ(::chmod((folder_ / "a").c_str(), 0644), 0);
  ASSERT_EQ(::mkdir((folder_ / "f").c_str(), 0755), 0);
  ASSERT_EQ(::chmod((folder_ / "f").c_str(), 0755), 0);
  ASSERT_NE(Open("a"), nullptr);
  ASSERT_TRUE(files_.CreateFolders(folder_ / "f").ok());
  EXPECT_EQ(ModeOf(folder_ / "a"), 0644u);
  EXPECT_EQ(ModeOf(folder_ / "f"), 0755u);
}

TEST_F(PosixFileSystemTest, OpensForReadingWhatCannotBeWritten) {
  ASSERT_TRUE(Open("a")->Write(0, "content", 7).ok());
  ASSERT_NE(Open("b"), nullptr);
  ASSERT_EQ(::chmod((folder_ / "a").c_str(), 0444), 0);
  ASSERT_EQ(::chmod((folder_ / "b").c_str(), 0000), 0);
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0555), 0);
  OtherProcess other([&] {
    // Permissions do not bind the superuser.
    if (::geteuid() == 0 && ::setresuid(65534, 65534, 65534) != 0) return false;
    const auto file = files_.Open(folder_ / "a", Creating());
    char c = 0;
    return file.ok() && (*file)->read_only() && *(*file)->Read(3, &c, 1) == 1 && c == 't' &&
           (*file)->Write(0, "x", 1).code() == StatusCode::kDenied &&
           files_.Open(folder_ / "b", Creating()).status().code() == StatusCode::kDenied &&
           files_.Open(folder_ / "c", Creating()).status().code() == StatusCode::kDenied &&
           files_.Remove(folder_ / "a").code() == StatusCode::kDenied &&
           files_.CreateFolders(folder_ / "f").code() == StatusCode::kDenied &&
           ReplaceFile(&files_, folder_ / "a", "x").code() == StatusCode::kDenied;
  });
  EXPECT_TRUE(other.ok());
  ASSERT_EQ(::chmod(folder_.path().c_str(), 0755), 0);
}

// A running program's file refuses writers, even the superuser, but not readers.
TEST_F(PosixFileSystemTest, OpensForReadingARunningProgram) {
  const auto file = files_.Open("/proc/self/exe", {});
  ASSERT_TRUE(file.ok()) << file.status().message();
  EXPECT_TRUE((*file)->read_only());
  char magic[4] = {};
  EXPECT_EQ(*(*file)->Read(0, magic, 4), 4u);
  EXPECT_EQ(std::string(magic + 1, 3), "ELF");
}

TEST_F(PosixFileSystemTest, PipesAndDevicesAreNoFiles) {
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  OpenOptions reading;
  reading.read_only = true;
  EXPECT_EQ(files_.Open(folder_ / "pipe", reading).status().code(), StatusCode::kInvalid);
  EXPECT_EQ(files_.Open(folder_ / "pipe", {}).status().code(), StatusCode::kInvalid);
  EXPECT_EQ(files_.Open("/dev/null", {}).status().code(), StatusCode::kInvalid);
}

TEST_F(PosixFileSystemTest, DescriptorsDoNotReachStartedPrograms) {
  const auto file = Open("a");
  int seen = 0;
  for (int fd = 3; fd < 100; ++fd) {
    struct stat named = {};
    struct stat open = {};
    if (::fstat(fd, &open) != 0) continue;
    ASSERT_EQ(::stat((folder_ / "a").c_str(), &named), 0);
    if (open.st_ino != named.st_ino || open.st_dev != named.st_dev) continue;
    ++seen;
    EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(seen, 1);
}

TEST_F(PosixFileSystemTest, LocksOfAnotherProcessConflict) {
  const auto file = Open("a");
  {
    std::unique_ptr<File> theirs;
    OtherProcess other([&] {
      Result<std::unique_ptr<File>> opened = files_.Open(folder_ / "a", {});
      if (!opened.ok()) return false;
      theirs = std::move(*opened);
      return theirs->TryLock(100, 10, LockKind::kExclusive).ok();
    });
    ASSERT_TRUE(other.ok());
    EXPECT_EQ(file->TryLock(105, 1, LockKind::kShared).code(), StatusCode::kBusy);
    EXPECT_TRUE(file->TryLock(110, 1, LockKind::kExclusive).ok());
    other.Kill();
  }
  EXPECT_TRUE(file->TryLock(105, 1, LockKind::kShared).ok());
}

TEST_F(PosixFileSystemTest, ShareModeOfAnotherProcessConflicts) {
  ASSERT_NE(Open("a"), nullptr);
  std::unique_ptr<File> theirs;
  OtherProcess other([&] {
    OpenOptions options;
    options.share = ShareMode::kDenyAll;
    Result<std::unique_ptr<File>> opened = files_.Open(folder_ / "a", options);
    if (opened.ok()) theirs = std::move(*opened);
    return theirs != nullptr;
  });
  ASSERT_TRUE(other.ok());
  EXPECT_EQ(files_.Open(folder_ / "a", {}).status().code(), StatusCode::kBusy);
  other.Kill();
  EXPECT_TRUE(files_.Open(folder_ / "a", {}).ok());
}

TEST_F(PosixFileSystemTest, ClassicLocksOfAnotherProcessConflict) {
  const auto file = Open("a");
  const auto classic = [&](short type, off_t start) {
    const int fd = ::open((folder_ / "a").c_str(), O_RDWR | O_CLOEXEC);
    struct flock range = {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = 1;
    return fd >= 0 && ::fcntl(fd, F_SETLK, &range) == 0;
  };
  ASSERT_TRUE(file->TryLock(0x7FFFFFFE, 1, LockKind::kExclusive).ok());
  OtherProcess other([&] {
    return classic(F_WRLCK, 0x7FFFFFFE - 3) && classic(F_RDLCK, 0x7FFFFFFE - 4) &&
           !classic(F_WRLCK, 0x7FFFFFFE) && !classic(F_RDLCK, 0x7FFFFFFE);
  });
  EXPECT_TRUE(other.ok());
  EXPECT_EQ(file->TryLock(0x7FFFFFFE - 3, 1, LockKind::kShared).code(), StatusCode::kBusy);
  EXPECT_TRUE(file->TryLock(0x7FFFFFFE - 4, 1, LockKind::kShared).ok());
  EXPECT_EQ(file->TryLock(0x7FFFFFFE - 4, 1, LockKind::kExclusive).code(), StatusCode::kBusy);
}

// A classic lock would vanish here.
TEST_F(PosixFileSystemTest, ClosingAForeignDescriptorLeavesTheLocks) {
  const auto file = Open("a");
  ASSERT_TRUE(file->TryLock(5, 1, LockKind::kExclusive).ok());
  ::close(::open((folder_ / "a").c_str(), O_RDWR | O_CLOEXEC));
  Open("a").reset();
  EXPECT_EQ(Open("a")->TryLock(5, 1, LockKind::kExclusive).code(), StatusCode::kBusy);
}

TEST_F(PosixFileSystemTest, WritesSurviveAKilledProcess) {
  for (const bool mapped : {true, false}) {
    const std::string name = mapped ? "mapped" : "plain";
    std::unique_ptr<File> theirs;
    OtherProcess other([&] {
      Result<std::unique_ptr<File>> opened = files_.Open(folder_ / name, Creating(mapped));
      if (!opened.ok()) return false;
      theirs = std::move(*opened);
      bool ok = true;
      for (int i = 0; i < 1000 && ok; ++i) {
        ok = theirs->Write(static_cast<std::uint64_t>(i) * 8, "........", 8).ok();
      }
      for (int i = 0; i < 1000 && ok; ++i) {
        const std::string text = std::to_string(10'000'000 + i);
        ok = theirs->Write(static_cast<std::uint64_t>(i) * 8, text.data(), 8).ok();
      }
      return ok;
    });
    ASSERT_TRUE(other.ok());
    other.Kill();
    const Result<std::string> content = ReadWholeFile(&files_, folder_ / name, 1 << 20);
    ASSERT_TRUE(content.ok());
    ASSERT_EQ(content->size(), 8000u);
    for (int i = 0; i < 1000; ++i) {
      ASSERT_EQ(content->substr(static_cast<std::size_t>(i) * 8, 8),
                std::to_string(10'000'000 + i));
    }
  }
}

TEST_F(PosixFileSystemTest, AFileCutUnderItsMappingGivesNoSignal) {
  const auto file = Open("a");
  ASSERT_TRUE(file->Truncate(1 << 20).ok());
  char bytes[300];
  ASSERT_EQ(*file->Read(900'000, bytes, sizeof bytes), sizeof bytes);
  ASSERT_EQ(::truncate((folder_ / "a").c_str(), 100), 0);
  Result<std::size_t> got = file->Read(900'000, bytes, sizeof bytes);
  EXPECT_TRUE(!got.ok() || *got == 0);
  EXPECT_EQ(*file->Read(50, bytes, sizeof bytes), 50u);

  ASSERT_TRUE(file->Truncate(1 << 20).ok());
  ASSERT_TRUE(file->Write(900'000, "x", 1).ok());
  ASSERT_EQ(::truncate((folder_ / "a").c_str(), 100), 0);
  EXPECT_EQ(file->Write(900'000, "x", 1).code(), StatusCode::kIoError);
  EXPECT_EQ(*file->Size(), 100u);
  // From here on the new size is known, and writing behind it extends the file as ever.
  EXPECT_TRUE(file->Write(900'000, "x", 1).ok());
  EXPECT_EQ(*file->Size(), 900'001u);
}

TEST_F(PosixFileSystemTest, BytesBehindTheEndAreNeverData) {
  const auto file = Open("a");
  ASSERT_TRUE(file->Write(0, "0123456789", 10).ok());
  char bytes[32];
  ASSERT_EQ(*file->Read(0, bytes, sizeof bytes), 10u);
  EXPECT_EQ(*file->Read(9, bytes, 2), 1u);
  EXPECT_EQ(*file->Read(10, bytes, 1), 0u);
  EXPECT_EQ(*file->Read(4095, bytes, 2), 0u);
}

TEST_F(PosixFileSystemTest, GrowthPastTheFirstMapping) {
  const auto file = Open("a");
  const auto other = Open("a");
  ASSERT_TRUE(file->Write(0, "begin", 5).ok());
  const std::uint64_t far = (std::uint64_t{64} << 20) - 3;
  char bytes[8] = {};
  EXPECT_EQ(*other->Read(far, bytes, 5), 0u);
  ASSERT_TRUE(file->Write(far, "across", 6).ok());
  EXPECT_EQ(*other->Read(far, bytes, 6), 6u);
  EXPECT_EQ(std::string(bytes, 6), "across");
  ASSERT_TRUE(other->Write(far + 2, "RO", 2).ok());
  EXPECT_EQ(*file->Read(far, bytes, 6), 6u);
  EXPECT_EQ(std::string(bytes, 6), "acROss");
}

TEST_F(PosixFileSystemTest, TruncateAllocatesItsBlocks) {
  const auto file = Open("a");
  ASSERT_TRUE(file->Truncate(1 << 20).ok());
  struct stat info = {};
  ASSERT_EQ(::stat((folder_ / "a").c_str(), &info), 0);
  EXPECT_EQ(info.st_size, 1 << 20);
  EXPECT_GE(info.st_blocks * 512, 1 << 20);
}

// A limit on the file size stands for a full disk here: both end in the same way.
TEST_F(PosixFileSystemTest, NoSpaceIsToldApartAndLeavesTheSize) {
  OtherProcess other([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {100'000, 100'000};
    if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
    const auto file = files_.Open(folder_ / "a", Creating());
    const std::string big(200'000, 'x');
    return file.ok() && (*file)->Write(0, "x", 1).ok() &&
           (*file)->Truncate(200'000).code() == StatusCode::kNoSpace && *(*file)->Size() == 1 &&
           (*file)->Write(0, big.data(), big.size()).code() == StatusCode::kNoSpace &&
           ReplaceFile(&files_, folder_ / "b", big).code() == StatusCode::kNoSpace &&
           files_.List(folder_.path())->size() == 1;
  });
  EXPECT_TRUE(other.ok());
}

TEST_F(PosixFileSystemTest, OpenFollowsTheNameToTheReplacement) {
  // The other process replaces the file again and again; no open may give one without a name.
  ASSERT_TRUE(ReplaceFile(&files_, folder_ / "a", "start").ok());
  const pid_t child = ::fork();
  if (child == 0) {
    for (;;) {
      const int fd = ::open((folder_ / "n").c_str(), O_CREAT | O_RDWR | O_TRUNC, 0600);
      if (fd < 0 || ::write(fd, "again", 5) != 5) ::_exit(1);
      ::close(fd);
      if (::rename((folder_ / "n").c_str(), (folder_ / "a").c_str()) != 0) ::_exit(1);
    }
  }
  int opened = 0;
  for (int i = 0; i < 3000; ++i) {
    const auto file = files_.Open(folder_ / "a", {});
    if (!file.ok()) {
      EXPECT_EQ(file.status().code(), StatusCode::kBusy) << file.status().message();
      continue;
    }
    ++opened;
    EXPECT_EQ(*(*file)->Size(), 5u);
  }
  EXPECT_EQ(::waitpid(child, nullptr, WNOHANG), 0) << "the other process ended early";
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_GT(opened, 0);
}

TEST_F(PosixFileSystemTest, TwoProcessesLoseNoSetting) {
  IniProfiles profiles(&files_);
  const auto page = CodePage::Windows1252();
  const auto write = [&](const char* prefix) {
    for (int i = 0; i < 40; ++i) {
      const std::string key = prefix + std::to_string(i);
      if (!profiles.Write(folder_ / "s.ini", "S", key, "v" + key, *page).ok()) return false;
    }
    return true;
  };
  const pid_t child = ::fork();
  if (child == 0) ::_exit(write("child") ? 0 : 1);
  EXPECT_TRUE(write("parent"));
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  for (const char* prefix : {"child", "parent"}) {
    for (int i = 0; i < 40; ++i) {
      const std::string key = prefix + std::to_string(i);
      EXPECT_EQ(profiles.Read(folder_ / "s.ini", "S", key, *page), "v" + key);
    }
  }
}

TEST(FromErrno, SortsBusyFromBroken) {
  EXPECT_EQ(FromErrno(EACCES, "f", "cannot lock", ErrnoSource::kLock).code(), StatusCode::kBusy);
  EXPECT_EQ(FromErrno(EAGAIN, "f", "cannot lock", ErrnoSource::kLock).code(), StatusCode::kBusy);
  EXPECT_EQ(FromErrno(EIO, "f", "cannot lock", ErrnoSource::kLock).code(), StatusCode::kIoError);
  EXPECT_EQ(FromErrno(EACCES, "f", "cannot open").code(), StatusCode::kDenied);
  EXPECT_EQ(FromErrno(EROFS, "f", "cannot open").code(), StatusCode::kDenied);
  EXPECT_EQ(FromErrno(EPERM, "f", "cannot open").code(), StatusCode::kDenied);
  EXPECT_EQ(FromErrno(ENOSPC, "f", "cannot write").code(), StatusCode::kNoSpace);
  EXPECT_EQ(FromErrno(EDQUOT, "f", "cannot write").code(), StatusCode::kNoSpace);
  EXPECT_EQ(FromErrno(ENOENT, "f", "cannot open").code(), StatusCode::kNotFound);
  EXPECT_EQ(FromErrno(EMFILE, "f", "cannot open").code(), StatusCode::kIoError);
  const Status status = FromErrno(EIO, "folder/file", "cannot read");
  EXPECT_EQ(status.detail(), EIO);
  EXPECT_EQ(status.message().find("folder/file: cannot read: "), 0u);
}

}  // namespace
}  // namespace pv::platform
