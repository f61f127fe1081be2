#pragma once

#include <VarnoLink/Address.h>
#include <VarnoLink/CaptureRecorder.h>
#include <VarnoLink/Fault.h>

#include <chrono>
#include <memory>
#include <string>

namespace varno::tool {

// What subcommands that use a link take on their command line. Each throws Failure for a text that
// is not understood.
Address addressFrom(const std::string& text);
DirectedFault faultFrom(const std::string& text);
// name: of the option.
std::chrono::nanoseconds durationFrom(const std::string& text, const std::string& name);

// What the other side opens to meet a link, or where it is: for the line that a link is ready.
std::string meetingPlace(const Address& address);

// Records into the file, in the form of its ending unless the options have one; null where no file
// is named. Where it cannot be written any more, that is told. Throws Failure where it cannot be
// made.
std::unique_ptr<CaptureRecorder> recorderFor(const std::string& path, CaptureOptions options = {});

// Closes the recorder. kSystem, and a message, where the file has not all that passed.
int closeRecorder(CaptureRecorder* recorder, const std::string& path);

}  // namespace varno::tool
