#include "tools/varno/LinkArguments.h"

#include "tools/varno/Failure.h"

#include <VarnoLink/Duration.h>
#include <VarnoNetwork/Network/HudException.h>

#include <system_error>
#include <utility>

namespace varno::tool {
namespace {

std::string quoted(const std::string& text) {
  std::string result = "'";
  return result.append(shown(text)).append("'");
}

}  // namespace

Address addressFrom(const std::string& text) {
  try {
    return Address::parse(text);
  } catch (const InvalidArgumentException& exception) {
    throw Failure(kUsage, exception.reason());
  }
}

std::string meetingPlace(const Address& address) {
  return address.isListening() ? address.counterpart().text() : address.text();
}

DirectedFault faultFrom(const std::string& text) {
  NotationError error;
  const auto fault = directedFaultFromText(text, error);
  if (!fault) throw Failure(kUsage, "--fault, " + error.text() + "\n" + error.pointTo(text));
  return *fault;
}

std::chrono::nanoseconds durationFrom(const std::string& text, const std::string& name) {
  const auto duration = durationFromText(text);
  if (!duration) {
    throw Failure(kUsage, name + ": " + quoted(text) + " is no time, as 250us, 2ms or 1.5s");
  }
  return *duration;
}

std::unique_ptr<CaptureRecorder> recorderFor(const std::string& path, CaptureOptions options) {
  if (path.empty()) return nullptr;
  if (!options.onFailure) {
    options.onFailure = [path](const std::string& reason) {
      tell(quoted(path) + " cannot be written any more: " + reason +
           "; what passes from here on is not recorded");
    };
  }
  try {
    return std::make_unique<CaptureRecorder>(path, std::move(options));
  } catch (const InvalidArgumentException& exception) {
    throw Failure(kUsage, quoted(path) + ": " + exception.reason());
  } catch (const std::system_error& error) {
    throw Failure(kSystem, quoted(path) + " cannot be written: " + error.code().message());
  }
}

int closeRecorder(CaptureRecorder* recorder, const std::string& path) {
  if (recorder == nullptr || recorder->close()) return kSuccess;
  const CaptureRecorder::Counts counts = recorder->counts();
  tell(quoted(path) + " has not all that passed: " + std::to_string(counts.lostBytes) +
       (counts.lostBytes == 1 ? " byte is missing" : " bytes are missing"));
  return kSystem;
}

}  // namespace varno::tool
