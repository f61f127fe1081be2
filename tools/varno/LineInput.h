#pragma once

#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkWatch.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace varno::tool {

// The lines of standard input, as they come. On a terminal they can be edited, and the names of
// packet types and of their fields completed, where the program was built with a library for that.
// One at a time; on the loop's thread.
class LineInput {
 public:
  using OnLine = std::function<void(const std::string& line)>;
  using OnEnd = std::function<void()>;

  // directory: whose names are completed; outlives it.
  LineInput(LinkLoop& loop, const PacketDirectory& directory, OnLine onLine, OnEnd onEnd);
  ~LineInput();
  LineInput(const LineInput&) = delete;
  LineInput& operator=(const LineInput&) = delete;

  bool isTerminal() const { return isTerminal_; }

  // Reads no more for now, but for the lines that were read together with the last one; and goes
  // on.
  void pause() { watch_.reset(); }
  void resume();

  // Prints whole lines on standard output, above the line that is being typed.
  void print(std::string_view text) const;

 private:
  static constexpr std::size_t kMostBytes = std::size_t{1} << 20;

  void read();
  void edit();
  void end();

  LinkLoop& loop_;
  const PacketDirectory& directory_;
  OnLine onLine_;
  OnEnd onEnd_;
  bool isTerminal_;
  bool hasEnded_ = false;
  std::string begun_;  // a line that has not come to its end
  std::optional<ReadableWatch> watch_;
};

}  // namespace varno::tool
