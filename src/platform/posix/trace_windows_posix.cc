// Trace messages over local datagram sockets. Tested by trace_windows_test.cc.
#include "platform/posix/trace_windows_posix.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "base/bytes.h"
#include "platform/file_system.h"
#include "platform/posix/from_errno.h"

namespace pv::platform {
namespace {

// The two numbers before the bytes.
constexpr std::size_t kHeader = 8;
// More than any sender of ours has to say.
constexpr std::size_t kLargestDatagram = 64 * 1024;

// A socket in a folder where others can write could be anybody's.
bool IsOwnFolder(const std::string& folder) {
  struct stat info;
  return ::lstat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode) &&
         info.st_uid == ::getuid() && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::string LastResort() { return "/tmp/pvgroup-" + std::to_string(::getuid()); }

// A walk over many contacts asks with each of them. A thread that found no listener so many times
// in a row looks for one with every 256th question only.
constexpr unsigned kPatience = 1000;
constexpr unsigned kStride = 256;
constinit thread_local unsigned questions_without_answer = 0;

// Empty when there is no folder that can be trusted.
std::string RuntimeFolder() {
  const char* const set = std::getenv("XDG_RUNTIME_DIR");
  if (set != nullptr && *set == '/') return IsOwnFolder(set) ? set : std::string();
  for (const std::string& folder : {"/run/user/" + std::to_string(::getuid()), LastResort()}) {
    if (IsOwnFolder(folder)) return folder;
  }
  return {};
}

std::string SocketPath(const std::string& folder, std::string title) {
  std::replace(title.begin(), title.end(), '/', '_');
  return JoinPath(folder, title);
}

// False when the path is too long for a socket.
bool SetAddress(const std::string& path, sockaddr_un* address) {
  *address = {};
  address->sun_family = AF_UNIX;
  if (path.size() >= sizeof address->sun_path) return false;
  std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
  return true;
}

const sockaddr* Plain(const sockaddr_un* address) {
  return reinterpret_cast<const sockaddr*>(address);
}

int NewSocket() { return ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0); }

class PosixTraceListener : public TraceListener {
 public:
  PosixTraceListener(int lock, int socket, std::string path)
      : lock_(lock), socket_(socket), path_(std::move(path)) {}
  ~PosixTraceListener() override {
    // While the lock is held, so that no other listener's socket is taken away.
    ::unlink(path_.c_str());
    ::close(socket_);
    ::close(lock_);
  }

  Result<std::optional<TraceMessage>> Receive(std::uint32_t milliseconds) override {
    pollfd wait{socket_, POLLIN, 0};
    const int ready = ::poll(&wait, 1, static_cast<int>(milliseconds));
    if (ready == 0 || (ready < 0 && errno == EINTR)) return std::optional<TraceMessage>();
    std::string datagram(kLargestDatagram, '\0');
    const ssize_t got =
        ready < 0 ? -1 : ::recv(socket_, datagram.data(), datagram.size(), MSG_TRUNC);
    if (got < 0) {
      if (errno == EAGAIN || errno == EINTR) return std::optional<TraceMessage>();
      return FromErrno(errno, path_, "cannot receive");
    }
    const auto size = static_cast<std::size_t>(got);
    if (size < kHeader || size > datagram.size() ||
        LoadLe32(datagram.data() + 4) != size - kHeader) {
      return Status::Corrupt(path_ + ": a message of " + std::to_string(size) +
                             " bytes contradicts itself");
    }
    return std::optional<TraceMessage>(
        TraceMessage{LoadLe32(datagram.data()), datagram.substr(kHeader, size - kHeader)});
  }

 private:
  int lock_;
  int socket_;
  std::string path_;
};

}  // namespace

PosixTraceWindows::~PosixTraceWindows() {
  if (sender_ >= 0) ::close(sender_);
}

TraceHandle PosixTraceWindows::Find(const std::string& title) {
  const unsigned question = ++questions_without_answer;
  if (question > kPatience && question % kStride != 0) return 0;
  const TraceHandle found = LookFor(title);
  if (found != 0) questions_without_answer = 0;
  return found;
}

TraceHandle PosixTraceWindows::LookFor(const std::string& title) {
  const std::string folder = RuntimeFolder();
  if (folder.empty()) return 0;
  const std::string path = SocketPath(folder, title);
  sockaddr_un address;
  if (!SetAddress(path, &address) || ::access(path.c_str(), W_OK) != 0) return 0;
  // A listener that died leaves its socket behind, which refuses.
  const int probe = NewSocket();
  if (probe < 0) return 0;
  const bool alive = ::connect(probe, Plain(&address), sizeof address) == 0;
  ::close(probe);
  if (!alive) return 0;
  const std::lock_guard<std::mutex> guard(mutex_);
  if (sender_ < 0) sender_ = NewSocket();
  const auto known = std::find(found_.begin(), found_.end(), path);
  const auto position = static_cast<TraceHandle>(known - found_.begin());
  if (known == found_.end()) found_.push_back(path);
  return position + 1;
}

void PosixTraceWindows::Send(TraceHandle window, const TraceMessage& message) {
  std::string path;
  int sender = -1;
  {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (window == 0 || window > found_.size()) return;
    path = found_[window - 1];
    sender = sender_;
  }
  sockaddr_un address;
  if (sender < 0 || !SetAddress(path, &address)) return;
  std::string datagram(kHeader, '\0');
  StoreLe32(datagram.data(), message.kind);
  StoreLe32(datagram.data() + 4, static_cast<std::uint32_t>(message.bytes.size()));
  datagram += message.bytes;
  (void)::sendto(sender, datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
                 Plain(&address), sizeof address);
}

Result<std::unique_ptr<TraceListener>> PosixTraceWindows::Listen(const std::string& title) {
  std::string folder = RuntimeFolder();
  if (folder.empty() && std::getenv("XDG_RUNTIME_DIR") == nullptr) {
    folder = LastResort();
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && !IsOwnFolder(folder)) {
      return Status::Denied(folder + ": the folder for the trace socket is not the user's own");
    }
  }
  if (folder.empty()) {
    return Status::Denied("XDG_RUNTIME_DIR names no folder that belongs to the user alone");
  }
  const std::string path = SocketPath(folder, title);
  sockaddr_un address;
  if (!SetAddress(path, &address)) {
    return Status::Limit(path + ": the path is too long for a socket");
  }
  // Whoever holds the lock owns the name: a socket that lies there is a dead listener's.
  const std::string lock_path = path + ".lock";
  const int lock =
      ::open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
  if (lock < 0) return FromErrno(errno, lock_path, "cannot open");
  if (::flock(lock, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    ::close(lock);
    return FromErrno(error, path, "another program listens already", ErrnoSource::kLock);
  }
  const int socket = NewSocket();
  if (socket >= 0) ::unlink(path.c_str());
  if (socket < 0 || ::bind(socket, Plain(&address), sizeof address) != 0) {
    const int error = errno;
    if (socket >= 0) ::close(socket);
    ::close(lock);
    return FromErrno(error, path, "cannot listen");
  }
  return std::unique_ptr<TraceListener>(std::make_unique<PosixTraceListener>(lock, socket, path));
}

}  // namespace pv::platform
