#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace varno::tool {

// What the program ends with.
enum ExitCode : int {
  kSuccess = 0,
  kUsage = 1,        // the command line
  kUnreadable = 2,   // something in an input that is not what it is to be; the rest was worked on
  kLink = 3,         // a link cannot be had, or ended before its time
  kExpectation = 4,  // what came is not what was expected
  kSystem = 5,       // what is written is not all there, or memory ran out
};

// What they mean, for people: those that some subcommand ends with.
struct ExitCodeText {
  ExitCode code;
  std::string_view meaning;
};
std::span<const ExitCodeText> exitCodes();

// Ends the subcommand with a message for people.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}

  ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

// Nobody reads what is written any more, as behind `| head`: the program ends without a word.
class ReaderIsGone : public std::exception {};

// "varno: message" on standard error.
void tell(const std::string& message);

// As "1 frame" or "2 frames".
std::string counted(std::uint64_t count, std::string_view what);

// Ends the subcommand where the output is another of its files, too: opening it would empty that.
void refuseSameFile(const std::string& other, const std::string& output,
                    std::string_view what = "the input");

// A file's name, or another text that was given, so that it drives no terminal.
std::string shown(const std::string& text);

}  // namespace varno::tool
