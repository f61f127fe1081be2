#include "tools/varno/RecordSource.h"

#include "tools/varno/Failure.h"

#include <VarnoNetwork/Network/HudException.h>

#include <unistd.h>

#include <iostream>

namespace varno::tool {
namespace {

// Of one file. A million of the same help nobody.
constexpr std::uint64_t kMostWarnings = 20;

}  // namespace

RecordSource::RecordSource(const std::string& path, std::optional<InputFormat> format,
                           OutputFile* output)
    : output_(output), file_(path), stream_(&file_) {
  file_.setOnWait([this] {
    if (output_ != nullptr) output_->flush();
  });
  if (::isatty(STDERR_FILENO) != 0) {
    file_.setOnRead([this](std::uint64_t read, auto size) { showProgress(read, size); });
  }
  try {
    reader_ = format ? openRecords(stream_, *format) : openRecords(stream_);
  } catch (const InvalidArgumentException& exception) {
    throw Failure(kUnreadable, file_.name() + ": " + exception.reason());
  }
  reader_->setOnWarning([this](const ReadWarning& warning) {
    if (reader_->warnings() > kMostWarnings) return;
    if (output_ != nullptr && output_->isTerminal()) output_->flush();
    eraseProgress();
    tell(file_.name() + ": " + warning.text());
  });
}

RecordSource::~RecordSource() { eraseProgress(); }

bool RecordSource::isWhole() {
  eraseProgress();
  if (warnings() > kMostWarnings) {
    tell(file_.name() + ": " + std::to_string(warnings() - kMostWarnings) +
         " more that could not be read are not shown");
  }
  return warnings() == 0;
}

void RecordSource::showProgress(std::uint64_t read, std::optional<std::uint64_t> size) {
  // Among the lines of the output it would be in the way.
  if (output_ == nullptr || output_->isTerminal()) return;
  const Clock::time_point now = Clock::now();
  if (now - begin_ < std::chrono::seconds(1) || now - shownLast_ < std::chrono::milliseconds(200)) {
    return;
  }
  shownLast_ = now;
  isShown_ = true;
  constexpr std::uint64_t kMegabyte = 1'000'000;
  std::string text = "\r" + file_.name() + ": " + std::to_string(read / kMegabyte) + " MB";
  if (size && *size > 0) text += " (" + std::to_string(read * 100 / *size) + "%)";
  std::cerr << text + "\x1B[K";
}

void RecordSource::eraseProgress() {
  if (isShown_) std::cerr << "\r\x1B[K";
  isShown_ = false;
}

}  // namespace varno::tool
