#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"
#include "tools/varno/LiveDisplay.h"
#include "tools/varno/Subcommand.h"

#include <VarnoLink/Address.h>
#include <VarnoLink/CaptureRecorder.h>
#include <VarnoLink/LinkWatch.h>
#include <VarnoNetwork/Network/HudException.h>

#include <memory>
#include <string>
#include <system_error>
#include <utility>

namespace varno::tool {
namespace {

struct Arguments {
  std::string address;
  std::string record;
  bool isHeadless = false;
};

Address addressFrom(const std::string& text) {
  try {
    return Address::parse(text);
  } catch (const InvalidArgumentException& exception) {
    throw Failure(kUsage, exception.reason());
  }
}

std::unique_ptr<CaptureRecorder> recorderFor(const std::string& path) {
  if (path.empty()) return nullptr;
  CaptureOptions options;
  options.onFailure = [path](const std::string& reason) {
    tell("'" + shown(path) + "': " + reason + "; nothing is recorded any more");
  };
  try {
    return std::make_unique<CaptureRecorder>(path, std::move(options));
  } catch (const InvalidArgumentException& exception) {
    throw Failure(kUsage, exception.reason());
  } catch (const std::system_error& error) {
    throw Failure(kSystem, "'" + shown(path) + "': " + error.code().message());
  }
}

std::string counted(std::uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// As "12 packets received, 3 sent; 2 torn frames, 20 bytes of noise".
std::string countsText(LiveDisplay& live) {
  const SimulatedDisplay& display = live.display();
  const FrameCutter::Counts& counts = display.receivedCounts();
  std::string text = counted(display.packetsReceived(), "packet") + " received, " +
                     std::to_string(display.packetsSent()) + " sent";
  const char* separator = "; ";
  const auto add = [&](std::uint64_t count, const std::string& what) {
    if (count == 0) return;
    text.append(separator).append(what);
    separator = ", ";
  };
  const std::uint64_t unread = counts.frames - display.packetsReceived();
  add(unread, counted(unread, "frame") + " that cannot be read");
  add(counts.tornFrames, counted(counts.tornFrames, "torn frame"));
  add(counts.shortFrames, counted(counts.shortFrames, "short frame"));
  add(counts.longFrames, counted(counts.longFrames, "frame") + " too long");
  add(counts.noiseBytes, counted(counts.noiseBytes, "byte") + " of noise");
  add(live.refusedBytes(), counted(live.refusedBytes(), "byte") + " that the phone did not read");
  return text;
}

int run(const Arguments& arguments) {
  Address address = addressFrom(arguments.address);
  const std::unique_ptr<CaptureRecorder> recorder = recorderFor(arguments.record);
  OutputFile output("-");
  DisplayOptions options;
  options.maxHistory = 0;  // nobody asks for it
  LiveDisplay::Handlers handlers;
  handlers.onReady = [&](const Address& ready) {
    output.write("ready " + ready.text() + "\n");
    output.flush();
  };
  handlers.onTrouble = [](const std::string& reason) { tell(shown(reason) + "; trying again"); };
  handlers.onDone = [&] { output.flush(); };
  if (!arguments.isHeadless) {
    handlers.onChange = [&](const StateChange& change) { output.write(change.text() + "\n"); };
  }
  if (recorder != nullptr) {
    handlers.onRecord = [&](const TrafficRecord& record) { recorder->onRecord(record); };
  }

  LinkLoop loop;
  const SignalWatch signals(loop, [&](int) { loop.stop(); });
  LiveDisplay live(loop, std::move(address), std::move(options), std::move(handlers));
  live.open();
  loop.run();

  live.link().close();
  live.display().linkDown("the display ended");
  output.flush();
  const bool isRecorded = recorder == nullptr || recorder->close();
  tell(countsText(live));
  if (!isRecorded) tell("'" + shown(arguments.record) + "' has not all that passed");
  return isRecorded ? kSuccess : kSystem;
}

}  // namespace

Run defineDisplay(CLI::App& app) {
  const auto arguments = std::make_shared<Arguments>();
  app.add_option("ADDRESS", arguments->address,
                 "Where the phone is, or is to come: as tcp-listen://127.0.0.1:4711,\n"
                 "unix-listen:///run/display, serial:///dev/ttyUSB0?baud=115200, pty://")
      ->required()
      ->type_name("");
  app.add_option("--record", arguments->record,
                 "Write what passes into this file, in the format of its ending")
      ->type_name("FILE");
  app.add_flag("--headless", arguments->isHeadless, "Print no changes");
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
