#include "tools/varno/TrafficOutputs.h"

#include "tools/varno/LinkArguments.h"

namespace varno::tool {

void TrafficArguments::define(CLI::App& app) {
  app.add_option("--record", record_,
                 "Write what passes into this file, in the format of its ending:\n"
                 ".pcapng, .txt, .json, .jsonl")
      ->type_name("FILE");
  app.add_flag("--json", json_, "Print what passes as lines of JSON");
  app.add_flag("--quiet", isQuiet_, "Print no records");
  app.add_flag("--secrets", showsSecrets_, "Passwords and keys in text and JSON, too");
}

void TrafficArguments::defineExtcap(CLI::App& app) {
  app.add_option("--extcap", extcap_,
                 "Print nothing, and write a live capture into this pipe, for Wireshark")
      ->type_name("PIPE");
}

TrafficOutputs::TrafficOutputs(LinkLoop& loop, const TrafficArguments& arguments)
    : loop_(loop),
      arguments_(arguments),
      recorder_(recorderFor(arguments.record_, {.secrets = arguments.secrets()})),
      // Whoever reads the live capture ends this program by going.
      live_(
          recorderFor(arguments.extcap_, {.format = CaptureFormat::kPcapng,
                                          .onFailure = [&](const std::string&) { loop.stop(); }})) {
  if (arguments.isQuiet_ || live_) return;
  DecodeOutput::Options options;
  options.form = arguments.json_ ? DecodeOutput::Form::kJson : DecodeOutput::Form::kText;
  options.showsSecrets = arguments.showsSecrets_;
  printed_.emplace(loop, options);
}

int TrafficOutputs::close() {
  if (printed_) printed_->finish(loop_.clock().now());
  const int code = closeRecorder(recorder_.get(), arguments_.record_);
  if (live_) live_->close();
  return code;
}

}  // namespace varno::tool
