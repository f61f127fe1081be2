#pragma once

#include <VarnoNetwork/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace varno {

// Where a link goes: one text for every kind of link.
//
//   tcp://192.168.43.1:4711   tcp://[::1]:4711    connects; a name is looked up
//   tcp-listen://127.0.0.1:0                      listens; 0 is any free port
//   unix:///run/display                           connects to a Unix socket
//   unix-listen:///run/display                    makes one and listens there
//   serial:///dev/ttyUSB0?baud=115200             a serial device, 8N1; 115200 if nothing is said
//   pty://                                        makes a pseudo-terminal
//
// A value; it opens nothing. All functions that make one throw InvalidArgumentException, which
// names what was expected.
class VARNO_EXPORT Address {
 public:
  enum class Kind : std::uint8_t {
    kTcp,
    kTcpListen,
    kUnix,
    kUnixListen,
    kSerial,
    kPty,
    kDescriptor,  // one that the caller opened; has no text that could be parsed
  };

  static constexpr std::uint32_t kDefaultBaud = 115'200;

  static Address parse(std::string_view text);

  // host: a name, or a numeric address; that of IPv6 without brackets. port: 0 for listening alone.
  static Address tcp(std::string host, std::uint16_t port);
  static Address tcpListen(std::string host, std::uint16_t port);

  // path: of the file system, not empty; a relative one begins in the working directory.
  static Address unixSocket(std::string path);
  static Address unixListen(std::string path);
  static Address serial(std::string path, std::uint32_t baud = kDefaultBaud);

  // path: none for one that is to be made; a link tells the one that was.
  static Address pty(std::string path = {});

  static Address ofDescriptor(int descriptor);

  Kind kind() const { return kind_; }
  const std::string& host() const { return host_; }  // without brackets
  std::uint16_t port() const { return port_; }
  const std::string& path() const { return path_; }
  std::uint32_t baud() const { return baud_; }

  // Whether the other side has to come: a listening one, or a pseudo-terminal.
  bool isListening() const;

  // The address as parse() takes it, such as "tcp://[::1]:4711". That of a pseudo-terminal that was
  // made also has its path, and a descriptor is "descriptor 5": parse() takes neither.
  std::string text() const;

  // What the other side opens to meet this one: tcp for tcp-listen, unix for unix-listen, serial
  // for a pseudo-terminal that was made. Any other address throws.
  Address counterpart() const;

  bool operator==(const Address&) const = default;

 private:
  explicit Address(Kind kind) : kind_(kind) {}

  Kind kind_;
  std::uint16_t port_ = 0;
  std::uint32_t baud_ = 0;
  std::string host_;
  std::string path_;
};

}  // namespace varno
