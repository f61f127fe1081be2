#include "tools/varno/LiveOutput.h"

namespace varno::tool {
namespace {

DecodeOutput::Options coloredFor(DecodeOutput::Options options, const OutputFile& output) {
  options.isColored = wantsColors(output);
  return options;
}

}  // namespace

LiveOutput::LiveOutput(LinkLoop& loop, const DecodeOutput::Options& options)
    : loop_(loop),
      output_("-"),
      decode_(coloredFor(options, output_), directory_),
      cutter_([this](const TrafficRecord& record) { show(record); }) {}

void LiveOutput::onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> bytes,
                         std::string_view note) {
  cutter_.onBytes(time, direction, bytes, note);
}

void LiveOutput::onRecord(const TrafficRecord& record) { cutter_.onRecord(record); }

void LiveOutput::finish(LinkTime time) {
  cutter_.finish(time);
  output_.close();
}

void LiveOutput::show(const TrafficRecord& record) {
  shown_ = record;
  decode_.pass(shown_);
  output_.write(decode_.show(shown_));
  if (std::exchange(willFlush_, true)) return;
  // Behind what has come together with it.
  loop_.post([this] {
    willFlush_ = false;
    output_.flush();
  });
}

}  // namespace varno::tool
