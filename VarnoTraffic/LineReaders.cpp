#include <VarnoTraffic/JsonLines.h>
#include <VarnoTraffic/Notation.h>
#include <VarnoTraffic/Private/Readers.h>

#include <utility>

// The inputs that have a record in each line.

namespace varno {
namespace {

// Above what any record takes: a frame of a megabyte in hex, and the notes beside it.
constexpr std::size_t kLongestLine = std::size_t{1} << 26;

template <class Reader>
class LineReader : public RecordReader {
 public:
  explicit LineReader(InputBuffer input) : input_(std::move(input)) {}

  bool next(TrafficRecord& record) override {
    std::string_view line;
    bool isCut = false;
    while (input_.nextLine(line, kLongestLine, isCut)) {
      ++number_;
      constexpr std::string_view kMark = "\xEF\xBB\xBF";  // of a text in UTF-8
      if (number_ == 1 && line.starts_with(kMark)) line.remove_prefix(kMark.size());
      if (NotationReader::isBlank(line)) continue;
      NotationError error;
      if (!isCut && reader_.read(line, record, error)) return true;
      warn({number_, true, isCut ? "the line is too long" : error.text()});
    }
    return false;
  }

 private:
  InputBuffer input_;
  Reader reader_;
  std::uint64_t number_ = 0;
};

}  // namespace

std::unique_ptr<RecordReader> makeTextLineReader(InputBuffer input) {
  return std::make_unique<LineReader<NotationReader>>(std::move(input));
}

std::unique_ptr<RecordReader> makeJsonLineReader(InputBuffer input) {
  return std::make_unique<LineReader<JsonReader>>(std::move(input));
}

}  // namespace varno
