#include <VarnoTraffic/Private/CutReader.h>
#include <VarnoTraffic/Private/DumpLine.h>
#include <VarnoTraffic/Private/Readers.h>

#include <deque>
#include <utility>
#include <vector>

namespace varno {
namespace {

constexpr std::size_t kMaxLineBytes = 4096;
constexpr std::size_t kMaxDumpBytes = std::size_t{1} << 21;
constexpr std::size_t kMaxOpenDumps = 16;

struct Dump {
  std::string name;  // empty where there was no line that told
  std::optional<Direction> direction;
  std::vector<std::uint8_t> bytes;
  std::uint64_t lastLine = 0;
  std::uint64_t begin = 0;  // the offset of its first row; not 0 where rows are missing

  bool goesOnAt(std::uint64_t offset) const { return begin + bytes.size() == offset; }
};

// Each dump is a stream of its own. Those of several threads may have mixed: a row belongs to the
// dump that it goes on, and where there are several, to the one that waited longest for one.
class HexDumpReader : public CutReader {
 public:
  explicit HexDumpReader(InputBuffer input) : input_(std::move(input)) {}

 private:
  bool nextChunk(Chunk& chunk) override {
    std::string_view line;
    bool isCut = false;
    while (closed_.empty() && input_.nextLine(line, kMaxLineBytes, isCut)) {
      ++line_;
      read(line);
    }
    while (closed_.empty() && !open_.empty()) {
      if (!open_.front().name.empty()) tell("The log ends before the dump of " + name(0) + " does");
      close(0);
    }
    if (closed_.empty()) {
      if (!std::exchange(hasDumps_, true)) {
        tell("No hex dump is in the text, and no other form was recognized");
      }
      return false;
    }
    current_ = std::move(closed_.front());
    closed_.pop_front();
    chunk.bytes = current_.bytes;
    chunk.direction = current_.direction;
    if (!current_.direction) chunk.note = current_.name;
    chunk.isStreamsEnd = true;
    return true;
  }

  void read(std::string_view line) {
    if (const auto row = dumpRowIn(line)) {
      readRow(*row);
    } else if (const auto label = dumpLabelIn(line)) {
      if (label->isStart) {
        start(*label);
      } else {
        finish(*label);
      }
    }
  }

  void start(const DumpLabel& label) {
    closeUnnamed();
    open({std::string(label.name), label.direction, {}, line_, 0});
  }

  void finish(const DumpLabel& label) {
    hasDumps_ = true;
    const std::size_t index = indexOf(label.name);
    if (index == open_.size()) return tell("A dump ends that did not begin");
    close(index);
  }

  void readRow(const DumpRow& row) {
    auto found = open_.end();
    for (auto dump = open_.begin(); dump != open_.end(); ++dump) {
      if (!dump->goesOnAt(row.offset)) continue;
      if (found == open_.end() || dump->lastLine < found->lastLine) found = dump;
    }
    if (found == open_.end()) {
      closeUnnamed();
      if (row.offset != 0) tell("The rows before this one are missing");
      open({{}, {}, {}, line_, row.offset});
      found = open_.end() - 1;
    }
    found->bytes.insert(found->bytes.end(), row.bytes.begin(),
                        row.bytes.begin() + static_cast<std::ptrdiff_t>(row.count));
    found->lastLine = line_;
    // The end of a named dump is told.
    const bool isLast = row.count < DumpRow::kBytes && found->name.empty();
    if (isLast || found->bytes.size() >= kMaxDumpBytes) {
      close(static_cast<std::size_t>(found - open_.begin()));
    }
  }

  void open(Dump dump) {
    hasDumps_ = true;
    if (open_.size() == kMaxOpenDumps) {
      tell("The dump of " + name(0) + " has no end");
      close(0);
    }
    open_.push_back(std::move(dump));
  }

  // The first dump of the name; how many there are where there is none.
  std::size_t indexOf(std::string_view name) const {
    std::size_t index = 0;
    while (index < open_.size() && open_[index].name != name) ++index;
    return index;
  }

  // A dump that nothing named ends where the next begins.
  void closeUnnamed() {
    if (const std::size_t index = indexOf({}); index < open_.size()) close(index);
  }

  void close(std::size_t index) {
    const auto dump = open_.begin() + static_cast<std::ptrdiff_t>(index);
    closed_.push_back(std::move(*dump));
    open_.erase(dump);
  }

  const std::string& name(std::size_t index) const { return open_[index].name; }
  void tell(const std::string& reason) { warn({line_, true, reason}); }

  InputBuffer input_;
  std::uint64_t line_ = 0;
  bool hasDumps_ = false;
  std::vector<Dump> open_;   // in the order of their beginning
  std::deque<Dump> closed_;  // those that are to be read
  Dump current_;
};

}  // namespace

std::unique_ptr<RecordReader> makeHexDumpReader(InputBuffer input) {
  return std::make_unique<HexDumpReader>(std::move(input));
}

}  // namespace varno
