#pragma once

#include <VarnoLink/Private/Descriptor.h>

#include <sys/stat.h>

#include <string>

namespace varno {

// The path at which a Unix socket of this program listens.
class UnixListenPath {
 public:
  // Binds the socket to the path and has it listen. Replaces only a socket that nobody listens at:
  // what a program left behind that has ended. Throws LinkFailure and std::system_error.
  UnixListenPath(std::string path, int socket, int backlog);

  // Removes the path if it still is that of the socket, which must be open: so long, no other
  // file is given the same number.
  ~UnixListenPath();

  UnixListenPath(const UnixListenPath&) = delete;
  UnixListenPath& operator=(const UnixListenPath&) = delete;

 private:
  const std::string path_;
  struct stat status_ {};  // of the socket's file
};

}  // namespace varno
