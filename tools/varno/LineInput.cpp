#include "tools/varno/LineInput.h"

#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/LineEditor.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace varno::tool {

LineInput::LineInput(LinkLoop& loop, const PacketDirectory& directory, OnLine onLine, OnEnd onEnd)
    : loop_(loop),
      directory_(directory),
      onLine_(std::move(onLine)),
      onEnd_(std::move(onEnd)),
      isTerminal_(line_editor::isThere() && ::isatty(STDIN_FILENO) == 1 &&
                  ::isatty(STDOUT_FILENO) == 1) {
  if (isTerminal_) edit();
  resume();
}

void LineInput::resume() {
  if (hasEnded_ || watch_) return;
  watch_.emplace(loop_, STDIN_FILENO, [this] {
    if (isTerminal_) {
      line_editor::read();
    } else {
      read();
    }
  });
}

LineInput::~LineInput() {
  if (isTerminal_) line_editor::end();
}

void LineInput::edit() {
  line_editor::begin(directory_, [this](const char* line) {
    if (line == nullptr) return end();
    onLine_(line);
  });
}

void LineInput::read() {
  std::array<char, 4096> buffer{};
  const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
  if (count < 0) {
    if (errno == EINTR || errno == EAGAIN) return;
    throw Failure(kUnreadable,
                  "standard input cannot be read: " + std::system_category().message(errno));
  }
  begun_.append(buffer.data(), static_cast<std::size_t>(count));
  for (std::size_t end = begun_.find('\n'); end != std::string::npos; end = begun_.find('\n')) {
    const std::string line = begun_.substr(0, end);
    begun_.erase(0, end + 1);
    onLine_(line);
  }
  if (begun_.size() > kMostBytes) {
    throw Failure(kUnreadable, "standard input: a line of more than 1 MiB");
  }
  if (count > 0) return;
  if (!begun_.empty()) onLine_(std::exchange(begun_, {}));
  end();
}

void LineInput::end() {
  hasEnded_ = true;
  watch_.reset();
  onEnd_();
}

void LineInput::print(std::string_view text) const {
  if (isTerminal_) line_editor::hide();
  varno::tool::print(text);
  if (isTerminal_) line_editor::show();
}

}  // namespace varno::tool
