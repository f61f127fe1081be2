// Starts a phone application and a display as two processes that talk over a Unix socket. Exit
// status 0 when both ended well.

#include "DemoLog.h"

#include <VarnoNetwork/Network/HudLog.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

namespace varno::example {
namespace {

// Both end by themselves long before; this is for one that hangs.
constexpr std::chrono::seconds kTimeLimit{12};

// A program that was started.
class Program {
 public:
  // Starts directory/name with one argument.
  Program(const std::filesystem::path& directory, std::string name, std::string argument)
      : name_(std::move(name)) {
    std::string path = directory / name_;
    const std::array<char*, 3> arguments{path.data(), argument.data(), nullptr};
    const int error =
        ::posix_spawn(&process_, path.c_str(), nullptr, nullptr, arguments.data(), environ);
    if (error != 0) throw std::system_error(error, std::generic_category(), path);
  }

  ~Program() {
    if (hasEnded()) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }

  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  bool hasEnded() {
    int status = 0;
    if (!status_ && ::waitpid(process_, &status, WNOHANG) == process_) status_ = status;
    return status_.has_value();
  }

  // Whether it ended well; tells the reason if not.
  bool endedWell() {
    if (!hasEnded()) {
      HudLog::write(name_ + " did not end and is stopped");
    } else if (WIFSIGNALED(*status_)) {
      HudLog::write(name_ + " was ended by signal " + std::to_string(WTERMSIG(*status_)));
    } else if (WEXITSTATUS(*status_) != 0) {
      HudLog::write(name_ + " failed with status " + std::to_string(WEXITSTATUS(*status_)));
    } else {
      return true;
    }
    return false;
  }

 private:
  std::string name_;
  pid_t process_ = -1;
  std::optional<int> status_;
};

bool runDemo(const std::filesystem::path& directory) {
  const std::filesystem::path socket = std::filesystem::temp_directory_path() /
                                       ("varno-demo" + std::to_string(::getpid()) + ".socket");
  HudLog::write("a phone and a display talk over the socket " + socket.string());
  Program phone(directory, "phone", "unix://" + socket.string());  // waits for the display
  Program display(directory, "display", "unix-listen://" + socket.string());

  const auto deadline = std::chrono::steady_clock::now() + kTimeLimit;
  while (!(display.hasEnded() && phone.hasEnded()) && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  const bool displayEndedWell = display.endedWell();
  return phone.endedWell() && displayEndedWell;
}

}  // namespace
}  // namespace varno::example

int main(int /*argc*/, char** argv) {
  using varno::HudLog;
  varno::example::logAs("demo");
  try {
    if (!varno::example::runDemo(std::filesystem::path(argv[0]).parent_path())) return 1;
    HudLog::write("both ended well");
    return 0;
  } catch (const std::exception& exception) {
    HudLog::write(std::string("failed: ") + exception.what());
    return 1;
  }
}
