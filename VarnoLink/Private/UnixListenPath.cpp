#include <VarnoLink/Private/UnixListenPath.h>

#include <VarnoLink/Private/LinkFailure.h>
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
// there comes afterwards, and finds a live socket.
Descriptor lockDirectory(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened) throwErrno();
  if (::flock(opened.number(), LOCK_EX | LOCK_NB) != 0) {
    throw LinkFailure("another program is just replacing sockets in this directory");
  }
  return opened;
}

void removeWhatWasLeft(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return;  // it is gone already
  if (!S_ISSOCK(status.st_mode)) throw LinkFailure("the path is taken by a file that is no socket");
  // A live socket refuses one of another type with another error, and does not notice it.
  const Descriptor probe(::socket(AF_UNIX, SOCK_DGRAM, 0));
  if (!probe) throwErrno();
  const SocketAddress address = SocketAddress::ofPath(path);
  if (::connect(probe.number(), address.data(), address.size()) == 0 || errno != ECONNREFUSED) {
    throw LinkFailure("another program listens at this path");
  }
  if (::unlink(path.c_str()) != 0) throwErrno();
}

}  // namespace

UnixListenPath::UnixListenPath(std::string path, int socket, int backlog) : path_(std::move(path)) {
  const SocketAddress address = SocketAddress::ofPath(path_);
  if (::bind(socket, address.data(), address.size()) != 0) {
    if (errno == ENOENT) throw LinkFailure("no such directory");
    if (errno != EADDRINUSE) throwErrno();
    const Descriptor lock = lockDirectory(path_);
    removeWhatWasLeft(path_);
    if (::bind(socket, address.data(), address.size()) != 0) throwErrno();
  }
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
