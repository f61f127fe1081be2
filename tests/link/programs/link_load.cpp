// Both ends of a line, to measure what stands between them:
//   link_load throughput IN OUT MEGABYTES   a peer at TCP port OUT takes what is sent to port IN,
//   in
//                                           frames of 30,000 bytes: prints megabytes a second
//   link_load latency IN OUT FRAMES         the peer sends each small frame back: prints the median
//                                           of the times there and back, in microseconds
//   link_load compare IN OUT MEGABYTES      random bytes and frames: fails where others come
//   link_load stream MEGABYTES              prints those
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint64_t kMegabyte = 1'000'000;

double secondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

sockaddr_in loopback(const char* port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(std::stoul(port)));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

// Two connected sockets, with what is measured between them. The listening side is there first.
struct Line {
  Line(const char* in, const char* out) {
    const sockaddr_in there = loopback(out);
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    const int yes = 1;
    ::setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    require(::bind(listener, reinterpret_cast<const sockaddr*>(&there), sizeof there) == 0, "bind");
    require(::listen(listener, 1) == 0, "listen");
    const sockaddr_in here = loopback(in);
    const auto begin = Clock::now();
    for (;;) {
      source = ::socket(AF_INET, SOCK_STREAM, 0);
      if (::connect(source, reinterpret_cast<const sockaddr*>(&here), sizeof here) == 0) break;
      ::close(source);
      require(secondsSince(begin) < 10, "nobody listens");
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    sink = ::accept(listener, nullptr, nullptr);
    require(sink >= 0, "accept");
    ::close(listener);
    for (const int one : {source, sink}) {
      ::setsockopt(one, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    }
  }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;
  ~Line() {
    ::close(source);
    ::close(sink);
  }

  int source = -1;
  int sink = -1;
};

void writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    require(count > 0, "write");
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
}

std::span<const std::uint8_t> readSome(int descriptor, Bytes& buffer) {
  const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
  require(count > 0, "the line ended");
  return std::span(buffer).first(static_cast<std::size_t>(count));
}

void measureThroughput(Line& line, std::uint64_t megabytes) {
  Bytes frame(30'000, 0x41);
  frame.front() = 0x02;
  frame.back() = 0x03;
  Bytes block;
  for (int frames = 0; frames < 8; ++frames) block.insert(block.end(), frame.begin(), frame.end());
  const std::uint64_t blocks = megabytes * kMegabyte / block.size() + 1;
  const auto begin = Clock::now();
  std::thread source([&] {
    for (std::uint64_t sent = 0; sent < blocks; ++sent) writeAll(line.source, block);
  });
  Bytes buffer(std::size_t{1} << 18);
  for (std::uint64_t left = blocks * block.size(); left > 0;) {
    left -= readSome(line.sink, buffer).size();
  }
  source.join();
  std::cout << static_cast<double>(blocks * block.size()) / 1e6 / secondsSince(begin) << "\n";
}

void measureLatency(Line& line, std::uint64_t frames) {
  const Bytes frame = {0x02, 0x7D, 0x7F, 0x0F, 0x00, 0x03};
  std::thread peer([&] {
    Bytes buffer(4096);
    for (std::uint64_t left = frames * frame.size(); left > 0;) {
      const auto bytes = readSome(line.sink, buffer);
      left -= bytes.size();
      writeAll(line.sink, bytes);
    }
  });
  std::vector<double> times;
  Bytes buffer(4096);
  for (std::uint64_t count = 0; count < frames; ++count) {
    const auto begin = Clock::now();
    writeAll(line.source, frame);
    for (std::size_t left = frame.size(); left > 0;) left -= readSome(line.source, buffer).size();
    times.push_back(secondsSince(begin) * 1e6);
  }
  peer.join();
  std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2),
                   times.end());
  std::cout << times[times.size() / 2] << "\n";
}

// Calls onBlock with each part of the stream.
template <class OnBlock>
void makeStream(std::uint64_t megabytes, const OnBlock& onBlock) {
  std::mt19937_64 random(42);
  Bytes block;
  for (std::uint64_t left = megabytes * kMegabyte; left > 0; left -= block.size()) {
    block.assign(static_cast<std::size_t>(std::min<std::uint64_t>(1 + random() % 60'000, left)),
                 0x41);
    if (random() % 2 == 0) {
      for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(random() >> 56);
    } else {
      block.front() = 0x02;
      block.back() = 0x03;
    }
    onBlock(block);
  }
}

void compare(Line& line, std::uint64_t megabytes) {
  std::thread source(
      [&] { makeStream(megabytes, [&](const Bytes& block) { writeAll(line.source, block); }); });
  Bytes buffer(std::size_t{1} << 18);
  std::span<const std::uint8_t> come;
  bool isSame = true;
  makeStream(megabytes, [&](const Bytes& block) {
    for (std::span<const std::uint8_t> left = block; !left.empty();) {
      if (come.empty()) come = readSome(line.sink, buffer);
      const std::size_t count = std::min(come.size(), left.size());
      isSame = isSame && std::equal(come.begin(), come.begin() + static_cast<std::ptrdiff_t>(count),
                                    left.begin());
      come = come.subspan(count);
      left = left.subspan(count);
    }
  });
  source.join();
  require(isSame, "other bytes came than were sent");
  std::cout << megabytes << " MB came as they were sent\n";
}

}  // namespace

int main(int argc, char** argv) try {
  const std::string_view what = argc > 1 ? argv[1] : "";
  if (what == "stream" && argc == 3) {
    makeStream(std::stoull(argv[2]), [](const Bytes& block) { writeAll(STDOUT_FILENO, block); });
    return 0;
  }
  if (argc != 5) return 2;
  Line line(argv[2], argv[3]);
  const std::uint64_t amount = std::stoull(argv[4]);
  if (what == "throughput") measureThroughput(line, amount);
  if (what == "latency") measureLatency(line, amount);
  if (what == "compare") compare(line, amount);
  return 0;
} catch (const std::exception& exception) {
  std::cerr << "link_load: " << exception.what() << "\n";
  return 1;
}
