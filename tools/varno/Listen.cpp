#include "tools/varno/Failure.h"
#include "tools/varno/LinkArguments.h"
#include "tools/varno/LiveLink.h"
#include "tools/varno/Subcommand.h"
#include "tools/varno/TrafficOutputs.h"

#include <VarnoLink/LinkWatch.h>

#include <memory>
#include <string>

namespace varno::tool {
namespace {

struct ListenArguments {
  std::string address;
  std::string role = "phone";
  TrafficArguments traffic;
};

int run(const ListenArguments& arguments) {
  const Address address = addressFrom(arguments.address);
  const Direction received =
      arguments.role == "phone" ? Direction::kToPhone : Direction::kToDisplay;

  LinkLoop loop;
  TrafficOutputs outputs(loop, arguments.traffic);
  LiveLink link(loop, address, received, {}, {});
  outputs.observe(link);
  const SignalWatch signals(loop, [&](int) { loop.stop(); });
  link.link().open();
  loop.run();

  link.link().close();
  const int code = outputs.close();
  if (!link.failure().empty()) throw Failure(kLink, link.failure());
  if (outputs.tally() != nullptr) tell(outputs.tally()->text());
  return code;
}

}  // namespace

Run defineListen(CLI::App& app) {
  const auto arguments = std::make_shared<ListenArguments>();
  app.add_option("ADDRESS", arguments->address,
                 "Where the other side is, or comes: tcp://192.168.43.1:4711, pty://,\n"
                 "serial:///dev/ttyUSB0?baud=115200, tcp-listen://127.0.0.1:4711, ...")
      ->required()
      ->type_name("");
  app.add_option("--as", arguments->role, "What to be for the other side: phone or display")
      ->check(CLI::IsMember({"phone", "display"}))
      ->type_name("SIDE");
  arguments->traffic.define(app);
  arguments->traffic.defineExtcap(app);
  return [arguments] { return run(*arguments); };
}

}  // namespace varno::tool
