#include <VarnoLink/Address.h>

#include <VarnoNetwork/Network/HudException.h>

#include <sys/un.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <utility>

namespace varno {
namespace {

constexpr std::string_view kSeparator = "://";
constexpr std::string_view kBaud = "baud";

struct Scheme {
  std::string_view name;
  Address::Kind kind;
};

constexpr Scheme kSchemes[] = {
    {"tcp", Address::Kind::kTcp},       {"tcp-listen", Address::Kind::kTcpListen},
    {"unix", Address::Kind::kUnix},     {"unix-listen", Address::Kind::kUnixListen},
    {"serial", Address::Kind::kSerial}, {"pty", Address::Kind::kPty},
};

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char character : text) {
    const bool isPlain = static_cast<unsigned char>(character) >= 0x20 && character != 0x7F;
    result += isPlain ? character : '?';
  }
  return result += '"';
}

[[noreturn]] void refuse(std::string_view text, std::string_view reason) {
  throw InvalidArgumentException(quoted(text).append(" is no address: ").append(reason));
}

[[noreturn]] void refuse(const std::string& reason) { throw InvalidArgumentException(reason); }

// A decimal number up to the limit; none where the text is something else.
std::optional<std::uint32_t> numberOf(std::string_view text, std::uint32_t limit) {
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [behind, error] = std::from_chars(text.data(), end, value);
  if (text.empty() || error != std::errc{} || behind != end || value > limit) return std::nullopt;
  return value;
}

bool hasControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char character) {
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
  });
}

void checkPath(const std::string& path, const char* kind) {
  if (path.empty()) refuse(std::string("the path is missing: expected ") + kind + "://PATH");
  if (hasControl(path)) refuse(quoted(path) + " has a control character, which no path here may");
}

void checkSocketPath(const std::string& path, const char* kind) {
  checkPath(path, kind);
  constexpr std::size_t kLongest = sizeof(sockaddr_un::sun_path) - 1;
  if (path.size() > kLongest) {
    refuse("the path of a Unix socket has at most " + std::to_string(kLongest) + " bytes, and " +
           quoted(path) + " has " + std::to_string(path.size()));
  }
}

void checkHost(const std::string& host) {
  if (host.empty()) refuse("the host is missing: expected a name or a numeric address");
  constexpr std::string_view kNever = " /?#@[]\"\\";
  if (hasControl(host) || host.find_first_of(kNever) != std::string::npos) {
    refuse(quoted(host) + " is no host: expected a name or a numeric address");
  }
}

// What an address without "://" or of an unknown kind might have been.
std::string expectedKinds() {
  return "expected tcp://HOST:PORT, tcp-listen://HOST:PORT, unix://PATH, unix-listen://PATH, "
         "serial://PATH?baud=N or pty://";
}

Address parseTcp(std::string_view rest, bool isListening) {
  const std::string expected =
      std::string("expected ") + (isListening ? "tcp-listen" : "tcp") + "://HOST:PORT";
  if (const std::size_t mark = rest.find('?'); mark != std::string_view::npos) {
    refuse("the option " + quoted(rest.substr(mark + 1)) + " is unknown: TCP has none");
  }
  std::string_view host = rest;
  std::string_view port;
  if (rest.starts_with('[')) {
    const std::size_t bracket = rest.find(']');
    if (bracket == std::string_view::npos) refuse("']' is missing behind the IPv6 address");
    host = rest.substr(1, bracket - 1);
    port = rest.substr(bracket + 1);
    if (host.find(':') == std::string_view::npos) refuse(quoted(host) + " is no IPv6 address");
  } else {
    const std::size_t colon = std::min(rest.find(':'), rest.size());
    host = rest.substr(0, colon);
    port = rest.substr(colon);
    if (port.find(':', 1) != std::string_view::npos) {
      refuse("an IPv6 address stands in brackets: [::1]:4711");
    }
  }
  if (port.size() < 2 || port.front() != ':') refuse("the port is missing: " + expected);
  port.remove_prefix(1);
  const auto number = numberOf(port, std::numeric_limits<std::uint16_t>::max());
  if (!number) {
    refuse("the port is " + quoted(port) + ": expected a number from " + (isListening ? "0" : "1") +
           " to 65535");
  }
  const auto narrow = static_cast<std::uint16_t>(*number);
  return isListening ? Address::tcpListen(std::string(host), narrow)
                     : Address::tcp(std::string(host), narrow);
}

Address parseSerial(std::string_view rest) {
  const std::size_t mark = std::min(rest.find('?'), rest.size());
  std::uint32_t baud = Address::kDefaultBaud;
  bool isSet = false;
  std::string_view options = rest.substr(mark);
  while (!options.empty()) {
    options.remove_prefix(1);  // the mark before it
    const std::string_view option = options.substr(0, options.find('&'));
    options.remove_prefix(option.size());
    const std::size_t sign = std::min(option.find('='), option.size());
    if (option.substr(0, sign) != kBaud) {
      refuse("the option " + quoted(option.substr(0, sign)) + " is unknown: expected baud=N");
    }
    if (std::exchange(isSet, true)) refuse("the option baud is given twice");
    const std::string_view value = option.substr(std::min(sign + 1, option.size()));
    const auto number = numberOf(value, std::numeric_limits<std::uint32_t>::max());
    if (!number || *number == 0) {
      refuse("the baud rate is " + quoted(value) + ": expected a number from 1 to 4294967295");
    }
    baud = *number;
  }
  return Address::serial(std::string(rest.substr(0, mark)), baud);
}

Address parseKind(Address::Kind kind, std::string_view rest) {
  switch (kind) {
    case Address::Kind::kTcp: return parseTcp(rest, false);
    case Address::Kind::kTcpListen: return parseTcp(rest, true);
    case Address::Kind::kUnix: return Address::unixSocket(std::string(rest));
    case Address::Kind::kUnixListen: return Address::unixListen(std::string(rest));
    case Address::Kind::kSerial: return parseSerial(rest);
    default: break;
  }
  if (!rest.empty()) refuse("the system chooses a pseudo-terminal's path: expected pty://");
  return Address::pty();
}

}  // namespace

Address Address::parse(std::string_view text) {
  const std::size_t separator = text.find(kSeparator);
  if (separator == std::string_view::npos) refuse(text, expectedKinds());
  const std::string_view name = text.substr(0, separator);
  const auto* const scheme =
      std::find_if(std::begin(kSchemes), std::end(kSchemes),
                   [&](const Scheme& candidate) { return candidate.name == name; });
  if (scheme == std::end(kSchemes)) {
    refuse(text, "the kind " + quoted(name) + " is unknown: " + expectedKinds());
  }
  try {
    return parseKind(scheme->kind, text.substr(separator + kSeparator.size()));
  } catch (const InvalidArgumentException& exception) {
    refuse(text, exception.reason());
  }
}

Address Address::tcp(std::string host, std::uint16_t port) {
  if (port == 0) refuse("the port is 0, which is for listening: expected 1 to 65535");
  Address address = tcpListen(std::move(host), port);
  address.kind_ = Kind::kTcp;
  return address;
}

Address Address::tcpListen(std::string host, std::uint16_t port) {
  checkHost(host);
  Address address(Kind::kTcpListen);
  address.host_ = std::move(host);
  address.port_ = port;
  return address;
}

Address Address::unixSocket(std::string path) {
  checkSocketPath(path, "unix");
  Address address(Kind::kUnix);
  address.path_ = std::move(path);
  return address;
}

Address Address::unixListen(std::string path) {
  checkSocketPath(path, "unix-listen");
  Address address(Kind::kUnixListen);
  address.path_ = std::move(path);
  return address;
}

Address Address::serial(std::string path, std::uint32_t baud) {
  checkPath(path, "serial");
  if (baud == 0) refuse("the baud rate is 0: expected a number from 1 to 4294967295");
  Address address(Kind::kSerial);
  address.path_ = std::move(path);
  address.baud_ = baud;
  return address;
}

Address Address::pty(std::string path) {
  Address address(Kind::kPty);
  address.path_ = std::move(path);
  return address;
}

Address Address::ofDescriptor(int descriptor) {
  Address address(Kind::kDescriptor);
  address.path_ = std::to_string(descriptor);
  return address;
}

bool Address::isListening() const {
  return kind_ == Kind::kTcpListen || kind_ == Kind::kUnixListen || kind_ == Kind::kPty;
}

std::string Address::text() const {
  if (kind_ == Kind::kDescriptor) return "descriptor " + path_;
  const auto* const scheme =
      std::find_if(std::begin(kSchemes), std::end(kSchemes),
                   [&](const Scheme& candidate) { return candidate.kind == kind_; });
  std::string text = std::string(scheme->name).append(kSeparator).append(path_);
  if (kind_ == Kind::kTcp || kind_ == Kind::kTcpListen) {
    const bool isBracketed = host_.find(':') != std::string::npos;
    text += isBracketed ? '[' + host_ + ']' : host_;
    text += ':' + std::to_string(port_);
  } else if (kind_ == Kind::kSerial && baud_ != kDefaultBaud) {
    text.append("?baud=").append(std::to_string(baud_));
  }
  return text;
}

Address Address::counterpart() const {
  switch (kind_) {
    case Kind::kTcpListen: return tcp(host_, port_);
    case Kind::kUnixListen: return unixSocket(path_);
    case Kind::kPty: return serial(path_);
    default: refuse(text() + " has no counterpart: expected one that listens");
  }
}

}  // namespace varno
