#pragma once

#include <VarnoLink/TrafficObserver.h>
#include <VarnoTraffic/Secrets.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace varno {

// The forms in which a recorder writes; see PcapngWriter, NotationPrinter and JsonPrinter.
enum class CaptureFormat : std::uint8_t { kPcapng, kTextLines, kJsonLines };

// The form that the name of a file tells by its ending: .pcapng; .txt; .json, .jsonl or .ndjson.
// None for any other.
VARNO_EXPORT std::optional<CaptureFormat> captureFormatOf(std::string_view fileName) noexcept;

// What a recorder is to do otherwise than usual.
struct CaptureOptions {
  // By the file's name where there is none.
  std::optional<CaptureFormat> format = {};

  // In text and JSON. A pcapng file always holds what passed, passwords and keys included.
  Secrets secrets = Secrets::kHidden;

  // How much may wait to be written. What comes beyond that is not kept, but counted.
  std::size_t maxWaitingBytes = std::size_t{64} << 20;

  // Called once where the file cannot be written any more, as on a full disk, on the recorder's
  // thread, with the reason for people: "No space left on device". It throws nothing, and must not
  // destroy the recorder.
  std::function<void(const std::string& reason)> onFailure = {};
};

// Writes what passes into a file, on a thread of its own. Whoever carries the bytes spends no more
// on it than one copy of them; cutting, printing and waiting for the disk happen on that thread.
//
// The file can be read at any time, also after the process was killed: it has the records that
// passed more than a fifth of a second ago, unless the disk is slower than that, and at most the
// last of them is cut off. When the file cannot be written any more, it keeps the whole records
// before that, and recording ends; the link does not. Where something could not be kept, the file
// has a remark that says so.
//
// Any number of threads may show it what passes; one closes it.
class VARNO_EXPORT CaptureRecorder : public TrafficObserver {
 public:
  // What became of what was shown to it.
  struct Counts {
    std::uint64_t records = 0;  // in the file
    // What came while too much was waiting, and all that is not in a file that could not be written
    // any more.
    std::uint64_t lostBytes = 0;
    std::uint64_t lostPieces = 0;  // calls that brought them: of a link's chunks, or records
    bool hasFailed = false;        // the file cannot be written any more
  };

  // Makes the file, or empties the one that is there; a named pipe it opens when somebody reads it.
  // Throws InvalidArgumentException where neither the name nor the options tell the form, and
  // std::system_error where the file or the thread cannot be made.
  explicit CaptureRecorder(const std::string& path, CaptureOptions options = {});

  // Closes.
  ~CaptureRecorder() override;

  // After close(), without effect. Throws InvalidArgumentException for a record with bytes whose
  // kind has none.
  void onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> bytes,
               std::string_view note) override;
  void onRecord(const TrafficRecord& record) override;

  // From a quarter of maxWaitingBytes on.
  bool isBehind() const override;

  // Writes what waits and closes the file, as long as that takes; a pipe that nobody reads is given
  // up after a second. False where something that was shown to the recorder is not in the file.
  bool close();

  Counts counts() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace varno
