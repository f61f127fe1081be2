#pragma once

#include "tools/varno/LiveOutput.h"

#include <VarnoLink/CaptureRecorder.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>

namespace varno::tool {

// What the command line of a subcommand with a link says of showing and keeping what passes.
class TrafficArguments {
 public:
  // Gives the subcommand --record, --json, --quiet and --secrets.
  void define(CLI::App& app);
  // Gives it --extcap, too.
  void defineExtcap(CLI::App& app);

  const std::string& record() const { return record_; }
  Secrets secrets() const { return showsSecrets_ ? Secrets::kShown : Secrets::kHidden; }

 private:
  friend class TrafficOutputs;

  std::string record_;
  std::string extcap_;
  bool json_ = false;
  bool isQuiet_ = false;
  bool showsSecrets_ = false;
};

// Prints what passes, and records it, as the command line says. On the loop's thread.
class TrafficOutputs {
 public:
  // arguments: outlive it. Throws Failure where a file cannot be made.
  TrafficOutputs(LinkLoop& loop, const TrafficArguments& arguments);

  // watched: has addObserver(), and shows what passes while the loop runs.
  template <class Watched>
  void observe(Watched& watched) {
    if (recorder_) watched.addObserver(*recorder_);
    if (live_) watched.addObserver(*live_);
    if (printed_) watched.addObserver(*printed_);
  }

  // Nothing passes any more: prints what was unfinished, and closes the files. kSystem, and a
  // message, where the record has not all that passed.
  int close();

  // Whether Wireshark reads it while it passes, and takes for an error what is told besides.
  bool isExtcap() const { return live_ != nullptr; }

  // Of what was printed; null where nothing is.
  const DecodeOutput::Tally* tally() const { return printed_ ? &printed_->tally() : nullptr; }

 private:
  LinkLoop& loop_;
  const TrafficArguments& arguments_;
  std::unique_ptr<CaptureRecorder> recorder_;
  std::unique_ptr<CaptureRecorder> live_;
  std::optional<LiveOutput> printed_;
};

}  // namespace varno::tool
