#pragma once

#include "tools/page/PageServer.h"
#include "tools/varno/PageDisplay.h"

#include <VarnoLink/LinkLoop.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/RecordCutter.h>
#include <VarnoLink/Relay.h>

#include <string>

namespace varno::tool {

// The page of a relay: shows what passes and what a display would make of it, and does what is
// wanted at the page. On the loop's thread. An observer of the relay while it lives.
class TapPage {
 public:
  // The options say what a relay can do besides. loop, relay: outlive the page.
  TapPage(LinkLoop& loop, Relay& relay, PageOptions options);
  ~TapPage();
  TapPage(const TapPage&) = delete;
  TapPage& operator=(const TapPage&) = delete;

  const std::string& address() const { return server_.address(); }

  // A side has come or gone.
  void onStatus();

 private:
  PageOptions completed(PageOptions options);
  void doCommands();
  // Both return why it was not done.
  std::string perform(const PageCommand& command);
  std::string send(const PageCommand& command);
  void tellFaults();
  void advance();

  LinkLoop& loop_;
  Relay& relay_;
  PageServer server_;
  PageDisplay display_;
  RecordCutter cutter_;
  LinkTimer timer_;
};

}  // namespace varno::tool
