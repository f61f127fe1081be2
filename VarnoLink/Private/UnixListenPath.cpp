#include <VarnoLink/Private/UnixListenPath.h>

#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/Socket.h>
#include <VarnoLink/Private/SocketAddress.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace varno {
namespace {

// The directory of the path, locked until it is closed: who else wants to replace what was left
// there comes afterwards, and finds a live listener.
Descriptor lockDirectory(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened) {
    throw LinkFailure(errno == ENOENT ? "no such directory: " + directory : reasonOf(errno));
  }
  if (::flock(opened.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    throw LinkFailure("another program holds the directory of the socket");
  }
  return opened;
}

void removeWhatWasLeft(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return;  // it is gone, or binding tells more
  if (!S_ISSOCK(status.st_mode)) throw LinkFailure("the path is taken by a file that is no socket");
  const Descriptor probe = openSocket(AF_UNIX);
  const SocketAddress address = SocketAddress::ofPath(path);
  // All but this tells of somebody: one who is busy, one of another kind, one of another user.
  if (::connect(probe.number(), address.data(), address.size()) == 0 || errno != ECONNREFUSED) {
    throw LinkFailure("another program listens at this path");
  }
  ::unlink(path.c_str());
}

}  // namespace

UnixListenPath::UnixListenPath(std::string path, int socket, int backlog) : path_(std::move(path)) {
  const Descriptor lock = lockDirectory(path_);
  removeWhatWasLeft(path_);
  const SocketAddress address = SocketAddress::ofPath(path_);
  if (::bind(socket, address.data(), address.size()) != 0) throwErrno();
  if (::lstat(path_.c_str(), &status_) != 0 || ::listen(socket, backlog) != 0) {
    const int error = errno;
    ::unlink(path_.c_str());
    errno = error;
    throwErrno();
  }
}

UnixListenPath::~UnixListenPath() {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) == 0 && status.st_dev == status_.st_dev &&
      status.st_ino == status_.st_ino) {
    ::unlink(path_.c_str());
  }
}

}  // namespace varno
