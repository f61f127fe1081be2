#include <VarnoLink/Private/CaptureFile.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <iterator>
#include <new>
#include <system_error>
#include <utility>

namespace varno {
namespace {

constexpr std::size_t kKeptBytes = std::size_t{1} << 18;
constexpr int kWaitMilliseconds = 20;
constexpr int kWaitsAtEnd = 50;

int opened(const std::string& path) {
  constexpr int kMode = 0666;  // as far as the user's umask lets it
  int descriptor = -1;
  do {
    descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kMode);
  } while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) throw std::system_error(errno, std::generic_category());
  return descriptor;
}

}  // namespace

CaptureFile::CaptureFile(const std::string& path) : descriptor_(opened(path)) {
  struct stat status {};
  isFile_ = ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
  // Opening a pipe waits for its reader; writing must not, for ever.
  if (!isFile_) ::fcntl(descriptor_, F_SETFL, ::fcntl(descriptor_, F_GETFL) | O_NONBLOCK);
}

CaptureFile::~CaptureFile() { close(); }

bool CaptureFile::close() {
  if (descriptor_ < 0) return error_ == 0;
  writeOut();
  if (::close(std::exchange(descriptor_, -1)) != 0 && error_ == 0) error_ = errno;
  return error_ == 0;
}

std::streamsize CaptureFile::xsputn(const char* characters, std::streamsize count) {
  if (error_ != 0) return 0;
  const std::size_t end = kept_.size() + static_cast<std::size_t>(count);
  try {
    ends_.push_back(end);
    kept_.append(characters, static_cast<std::size_t>(count));
  } catch (const std::bad_alloc&) {  // who calls would not see it behind a stream
    if (!ends_.empty() && ends_.back() == end) ends_.pop_back();
    if (writeOut()) error_ = ENOMEM;
    return 0;
  }
  return end < kKeptBytes || writeOut() ? count : 0;
}

CaptureFile::int_type CaptureFile::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof()))
    return traits_type::not_eof(character);
  const char one = traits_type::to_char_type(character);
  return xsputn(&one, 1) == 1 ? character : traits_type::eof();
}

int CaptureFile::sync() { return writeOut() ? 0 : -1; }

bool CaptureFile::writeOut() {
  const char* at = kept_.data();
  const char* const end = at + kept_.size();
  int patience = kWaitsAtEnd;
  while (at < end && error_ == 0) {
    const ssize_t count = ::write(descriptor_, at, static_cast<std::size_t>(end - at));
    if (count >= 0) {
      at += count;
    } else if (errno != EINTR && (errno != EAGAIN || !waitForReader(patience))) {
      error_ = errno;
    }
  }
  const auto written = static_cast<std::size_t>(at - kept_.data());
  const auto next = std::upper_bound(ends_.begin(), ends_.end(), written);
  const std::size_t whole = next == ends_.begin() ? 0 : *std::prev(next);
  size_ += static_cast<std::int64_t>(whole);
  if (isFile_ && whole < written) static_cast<void>(::ftruncate(descriptor_, size_));
  kept_.clear();
  ends_.clear();
  return error_ == 0;
}

// False where it has been waited for long enough.
bool CaptureFile::waitForReader(int& patience) const {
  if (isHurried_ && patience-- == 0) {
    errno = EAGAIN;
    return false;
  }
  pollfd wanted{descriptor_, POLLOUT, 0};
  ::poll(&wanted, 1, kWaitMilliseconds);
  return true;
}

}  // namespace varno
