// Receiving small frames over a link, to a listener on a main thread that runs its queue: by a
// LinkNetwork, and handed over one by one from a receiving thread, for the same bytes.

#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>
#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <thread>

namespace varno::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

// Two connected sockets, and a peer that writes frames to one of them.
class Peer {
 public:
  explicit Peer(std::int64_t frames) {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()) != 0) std::abort();
    thread_ = std::thread([this, frames] { write(frames); });
  }
  ~Peer() {
    thread_.join();
    ::close(ends_[1]);
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // The other end. Owned by whoever asks.
  int descriptor() const { return ends_[0]; }

 private:
  void write(std::int64_t frames) const {
    constexpr std::int64_t kFramesAtOnce = 1000;
    Bytes chunk;
    for (std::int64_t frame = 0; frame < kFramesAtOnce; ++frame) {
      const Bytes one = frameOf(KeepAliveCommandPacket());
      chunk.insert(chunk.end(), one.begin(), one.end());
    }
    for (std::int64_t frame = 0; frame < frames; frame += kFramesAtOnce) {
      for (std::size_t at = 0; at < chunk.size();) {
        const ssize_t count = ::write(ends_[1], &chunk[at], chunk.size() - at);
        if (count < 0) std::abort();
        at += static_cast<std::size_t>(count);
      }
    }
  }

  std::array<int, 2> ends_{};
  std::thread thread_;
};

class CountingListener : public PacketHandleDelegate {
 public:
  void onPacketReceived(const std::shared_ptr<HudPacket>& packet) override {
    benchmark::DoNotOptimize(packet.get());
    ++received;
  }

  std::int64_t received = 0;
};

// Runs the main thread's queue until all frames have come.
void runUntilReceived(const CountingListener& listener, std::int64_t frames) {
  MainThreadDescriptor tasks;
  tasks.runUntil(std::chrono::steady_clock::now() + std::chrono::minutes(1),
                 [&] { return listener.received >= frames; });
}

void overALink(benchmark::State& state) {
  constexpr std::int64_t kFrames = 200'000;
  for ([[maybe_unused]] const auto step : state) {
    const Peer peer(kFrames);
    LinkNetwork network(peer.descriptor());
    const auto listener = std::make_shared<CountingListener>();
    network.registerPacketHandleDelegate(listener);
    network.start();
    runUntilReceived(*listener, kFrames);
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}

void handedOverOneByOne(benchmark::State& state) {
  constexpr std::int64_t kFrames = 10'000;
  for ([[maybe_unused]] const auto step : state) {
    const Peer peer(kFrames);
    HudNetwork network;
    const auto listener = std::make_shared<CountingListener>();
    network.registerPacketHandleDelegate(listener);
    std::thread receiver([&] {
      FrameCutter cutter;
      Bytes bytes(std::size_t{64} << 10);
      for (std::int64_t handled = 0; handled < kFrames;) {
        const ssize_t count = ::read(peer.descriptor(), bytes.data(), bytes.size());
        if (count <= 0) std::abort();
        const std::span<const std::uint8_t> read(bytes.data(), static_cast<std::size_t>(count));
        cutter.feed(read, [&](const FrameCutter::Piece& piece) {
          network.handleRawPacket(piece.bytes);
          ++handled;
        });
      }
    });
    runUntilReceived(*listener, kFrames);
    receiver.join();
    ::close(peer.descriptor());
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}

BENCHMARK(overALink)->Name("receive over a link")->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(handedOverOneByOne)
    ->Name("receive, handed over one by one")
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace varno::bench
