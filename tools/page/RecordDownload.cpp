#include "tools/page/RecordDownload.h"

#include <VarnoDisplay/ScenarioWriter.h>
#include <VarnoTraffic/LineWriter.h>
#include <VarnoTraffic/PcapngWriter.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace varno::tool {
namespace {

constexpr std::size_t kBatchRecords = 200;

using Write = std::function<void(const TrafficRecord& record)>;

template <class Writer, class... Arguments>
Write writerOf(Arguments&&... arguments) {
  const auto writer = std::make_shared<Writer>(std::forward<Arguments>(arguments)...);
  return [writer](const TrafficRecord& record) { writer->write(record); };
}

// None for a name that is not known.
Write writerFor(std::string_view name, std::ostream& output, const PageOptions& options) {
  const Secrets secrets = options.secrets;
  if (name == "session.pcapng") return writerOf<PcapngWriter>(output);
  if (name == "session.txt") return writerOf<LineWriter>(output, NotationPrinter(secrets));
  if (name == "session.jsonl") return writerOf<LineWriter>(output, JsonPrinter(secrets));
  if (name == "session.varno") return writerOf<ScenarioWriter>(output, options.title);
  return {};
}

// Writes the records a few at a time, so that neither the tool waits for the reader nor the whole
// file is in memory.
class Download {
 public:
  Download(PageHub& hub, std::string_view name, const PageOptions& options)
      : hub_(hub), write_(writerFor(name, output_, options)) {
    const std::lock_guard lock(hub_.mutex);
    next_ = hub_.ring.first();
    last_ = hub_.ring.last();
  }

  bool isKnown() const { return write_ != nullptr; }

  // The next bytes; none at the end.
  std::string next() {
    std::vector<TrafficRecord> records;
    {
      const std::lock_guard lock(hub_.mutex);
      if (next_ < hub_.ring.first()) {
        records.push_back({.kind = RecordKind::kNote,
                           .note = std::to_string(hub_.ring.first() - next_) +
                                   " records were not kept any more when they were to be saved"});
        next_ = hub_.ring.first();
      }
      for (; next_ <= last_ && records.size() < kBatchRecords; ++next_) {
        const RecordRing::Kept* const kept = hub_.ring.find(next_);
        if (kept != nullptr) records.push_back(kept->record);
      }
    }
    for (const TrafficRecord& record : records) write_(record);
    std::string bytes = std::move(output_).str();
    output_.str({});
    return bytes;
  }

 private:
  PageHub& hub_;
  std::ostringstream output_;
  Write write_;
  std::uint64_t next_ = 0;
  std::uint64_t last_ = 0;
};

}  // namespace

void downloadRecords(PageHub& hub, std::string_view name, const PageOptions& options,
                     httplib::Response& response) {
  const auto download = std::make_shared<Download>(hub, name, options);
  if (!download->isKnown()) {
    response.status = 404;
    response.set_content("There is no such form.\n", "text/plain; charset=utf-8");
    return;
  }
  response.set_header("Content-Disposition", "attachment; filename=\"" + std::string(name) + "\"");
  response.set_chunked_content_provider(
      "application/octet-stream", [download](std::size_t /*offset*/, httplib::DataSink& sink) {
        const std::string bytes = download->next();
        if (bytes.empty()) {
          sink.done();
          return true;
        }
        return sink.write(bytes.data(), bytes.size());
      });
}

}  // namespace varno::tool
