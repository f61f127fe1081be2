#pragma once

#include "tools/varno/DecodeOutput.h"
#include "tools/varno/FileBuffers.h"

#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/RecordCutter.h>

namespace varno::tool {

// Prints on standard output what passes, as it passes. On the loop's thread.
class LiveOutput : public TrafficObserver {
 public:
  LiveOutput(LinkLoop& loop, const DecodeOutput::Options& options);

  void onBytes(LinkTime time, Direction direction, std::span<const std::uint8_t> bytes,
               std::string_view note) override;
  void onRecord(const TrafficRecord& record) override;

  // Prints what was unfinished, and flushes; nothing comes after that.
  void finish(LinkTime time);

  const DecodeOutput::Tally& tally() const { return decode_.tally(); }

 private:
  void show(const TrafficRecord& record);

  LinkLoop& loop_;
  OutputFile output_;
  PacketDirectory directory_;
  DecodeOutput decode_;
  RecordCutter cutter_;
  TrafficRecord shown_;
  bool willFlush_ = false;
};

}  // namespace varno::tool
