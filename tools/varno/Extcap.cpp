#include "tools/varno/Extcap.h"

#include "tools/varno/Failure.h"
#include "tools/varno/FileBuffers.h"

#include <VarnoNetwork/Version.h>

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

namespace varno::tool {
namespace {

// A field of the form in which Wireshark asks for what a source needs.
struct Field {
  std::string_view option;  // "--seed", also of the subcommand unless it is positional there
  std::string_view label;
  std::string_view tip;
  bool isPositional = false;
};

struct Source {
  std::string_view interface;
  std::string_view label;
  std::string_view subcommand;
  std::span<const Field> fields;  // those that are positional in their order
};

constexpr Field kTapFields[] = {
    {"--phone-side", "Phone side",
     "Where the phone comes, or is, as tcp-listen://127.0.0.1:4711 or pty://", true},
    {"--display-side", "Display side",
     "Where the display is, or comes, as tcp://192.168.43.1:4711 or serial:///dev/ttyUSB0", true},
    {"--fault", "Fault", "What to put in on purpose, as < corrupt byte=7 count=1", false},
    {"--seed", "Seed", "Of the fault's chances: the same seed, the same faults", false},
};

constexpr Field kListenFields[] = {
    {"--address", "Address",
     "Where the other side is, or comes, as tcp://192.168.43.1:4711 or serial:///dev/ttyUSB0",
     true},
    {"--as", "What to be", "For the other side: phone or display", false},
};

constexpr std::array kSources = {
    Source{"varno-tap", "Varno tap", "tap", kTapFields},
    Source{"varno-listen", "Varno listen", "listen", kListenFields},
};

// "--name value" and "--name=value"; flags have no value.
std::map<std::string, std::string, std::less<>> optionsIn(std::span<const char* const> arguments) {
  std::map<std::string, std::string, std::less<>> options;
  for (std::size_t at = 0; at < arguments.size(); ++at) {
    const std::string_view argument = arguments[at];
    const std::size_t equals = argument.find('=');
    if (equals != std::string_view::npos) {
      options[std::string(argument.substr(0, equals))] = argument.substr(equals + 1);
    } else if (at + 1 < arguments.size() &&
               !std::string_view(arguments[at + 1]).starts_with("--")) {
      options[std::string(argument)] = arguments[++at];
    } else {
      options[std::string(argument)];
    }
  }
  return options;
}

std::string versionText() {
  return std::to_string(VARNO_NETWORK_VERSION_MAJOR) + "." +
         std::to_string(VARNO_NETWORK_VERSION_MINOR) + "." +
         std::to_string(VARNO_NETWORK_VERSION_PATCH);
}

// Appends a value within the braces of an answer.
void append(std::string& text, std::string_view name, std::string_view value) {
  text.append("{").append(name).append("=");
  for (const char character : value) {
    if (character == '{' || character == '}' || character == '\\') text += '\\';
    text += character;
  }
  text += '}';
}

std::string interfacesText() {
  std::string text = "extcap ";
  append(text, "version", versionText());
  append(text, "display", "Varno links");
  for (const Source& source : kSources) {
    text += "\ninterface ";
    append(text, "value", source.interface);
    append(text, "display", source.label);
  }
  return text + "\n";
}

std::string configText(const Source& source) {
  std::string text;
  for (std::size_t number = 0; number < source.fields.size(); ++number) {
    const Field& field = source.fields[number];
    text += "arg ";
    append(text, "number", std::to_string(number));
    append(text, "call", field.option);
    append(text, "display", field.label);
    append(text, "tooltip", field.tip);
    append(text, "type", "string");
    append(text, "required", field.isPositional ? "true" : "false");
    text += '\n';
  }
  return text;
}

}  // namespace

bool isExtcap(std::span<const char* const> arguments) {
  return std::any_of(arguments.begin(), arguments.end(), [](std::string_view argument) {
    return argument.starts_with("--extcap-interface");
  });
}

int runExtcap(std::span<const char* const> arguments, const RunLine& runLine) {
  const auto options = optionsIn(arguments);
  if (options.contains("--extcap-interfaces")) {
    print(interfacesText());
    return kSuccess;
  }
  const std::string& interface = options.at("--extcap-interface");
  const auto* const source = std::find_if(kSources.begin(), kSources.end(), [&](const Source& one) {
    return one.interface == interface;
  });
  if (source == kSources.end()) {
    throw Failure(kUsage, "there is no interface '" + shown(interface) + "'");
  }
  if (options.contains("--extcap-dlts")) {
    print("dlt {number=147}{name=USER0}{display=Varno frames}\n");
    return kSuccess;
  }
  if (options.contains("--extcap-config")) {
    print(configText(*source));
    return kSuccess;
  }
  if (!options.contains("--capture")) return kSuccess;  // a filter to be checked, for example
  if (!options.contains("--fifo")) throw Failure(kUsage, "--capture needs --fifo as well");

  std::vector<std::string> line = {std::string(source->subcommand)};
  for (const Field& field : source->fields) {
    const auto value = options.find(field.option);
    if (value == options.end() || value->second.empty()) {
      if (!field.isPositional) continue;
      throw Failure(kUsage, "nothing is said for '" + std::string(field.label) + "'");
    }
    if (!field.isPositional) line.emplace_back(field.option);
    line.push_back(value->second);
  }
  line.emplace_back("--extcap");
  line.push_back(options.at("--fifo"));
  return runLine(line);
}

}  // namespace varno::tool
