#include "tools/varno/FileBuffers.h"

#include "tools/varno/Failure.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace varno::tool {
namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 17;

std::string reason(int error) { return std::generic_category().message(error); }

int opened(const std::string& path, int flags, int standard) {
  if (path == "-") return standard;
  constexpr int kMode = 0666;  // as far as the user's umask lets it
  int number = -1;
  do {
    number = ::open(path.c_str(), flags | O_CLOEXEC, kMode);
  } while (number < 0 && errno == EINTR);
  return number;
}

std::optional<std::uint64_t> sizeOf(int descriptor) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return static_cast<std::uint64_t>(status.st_size);
}

bool wouldWait(int descriptor) {
  pollfd wanted{descriptor, POLLIN, 0};
  return ::poll(&wanted, 1, 0) == 0;
}

}  // namespace

Descriptor::~Descriptor() { close(); }

bool Descriptor::close() {
  if (number_ <= STDERR_FILENO) return true;
  return ::close(std::exchange(number_, -1)) == 0;
}

InputFile::InputFile(const std::string& path)
    : name_(path == "-" ? "standard input" : shown(path)),
      descriptor_(opened(path, O_RDONLY, STDIN_FILENO)) {
  if (descriptor_.number() < 0) {
    throw Failure(kUnreadable, name_ + " cannot be opened: " + reason(errno));
  }
  size_ = sizeOf(descriptor_.number());
  buffer_.resize(kBufferBytes);
}

InputFile::int_type InputFile::underflow() {
  if (onWait_ && wouldWait(descriptor_.number())) onWait_();
  ssize_t count = 0;
  do {
    count = ::read(descriptor_.number(), buffer_.data(), buffer_.size());
  } while (count < 0 && errno == EINTR);
  if (count < 0) throw Failure(kUnreadable, name_ + " cannot be read: " + reason(errno));
  setg(buffer_.data(), buffer_.data(), buffer_.data() + count);
  read_ += static_cast<std::uint64_t>(count);
  if (onRead_) onRead_(read_, size_);
  return count == 0 ? traits_type::eof() : traits_type::to_int_type(buffer_[0]);
}

OutputFile::OutputFile(const std::string& path)
    : path_(path),
      name_(path == "-" ? "standard output" : shown(path)),
      descriptor_(opened(path, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO)) {
  if (descriptor_.number() < 0) fail(errno);
  isTerminal_ = ::isatty(descriptor_.number()) != 0;
  buffer_.resize(kBufferBytes);
  setp(buffer_.data(), buffer_.data() + buffer_.size());
}

void OutputFile::fail(int error) const {
  if (error == EPIPE) throw ReaderIsGone();
  throw Failure(kSystem, name_ + " cannot be written: " + reason(error));
}

void OutputFile::flush() {
  const char* at = pbase();
  while (at < pptr()) {
    const ssize_t count = ::write(descriptor_.number(), at, static_cast<std::size_t>(pptr() - at));
    if (count >= 0) {
      at += count;
    } else if (errno != EINTR) {
      const int error = errno;
      setp(buffer_.data(), buffer_.data() + buffer_.size());
      fail(error);
    }
  }
  setp(buffer_.data(), buffer_.data() + buffer_.size());
}

void OutputFile::close() {
  flush();
  if (!descriptor_.close()) fail(errno);
}

void OutputFile::remove() noexcept {
  if (descriptor_.number() > STDERR_FILENO && sizeOf(descriptor_.number())) {
    ::unlink(path_.c_str());
  }
}

OutputFile::int_type OutputFile::overflow(int_type character) {
  flush();
  if (!traits_type::eq_int_type(character, traits_type::eof())) {
    sputc(traits_type::to_char_type(character));
  }
  return traits_type::not_eof(character);
}

int OutputFile::sync() {
  flush();
  return 0;
}

void print(std::string_view text) {
  OutputFile output("-");
  output.write(text);
  output.close();
}

}  // namespace varno::tool
