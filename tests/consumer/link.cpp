// Sends a packet to itself over a link.
#include <VarnoLink/VarnoLink.h>
#include <VarnoNetwork/VarnoNetwork.h>

#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <cstdlib>

int main() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) return EXIT_FAILURE;
  varno::LinkNetwork phone(ends[0]);
  varno::LinkNetwork display(ends[1], {.sends = varno::Direction::kToPhone});
  const auto router = std::make_shared<varno::PacketRouter>();
  bool hasCome = false;
  const auto subscription = router->on<varno::KeepAliveCommandPacket>(
      [&](const varno::KeepAliveCommandPacket&) { hasCome = true; });
  display.registerPacketHandleDelegate(router);
  phone.start();
  display.start();

  varno::MainThreadDescriptor tasks;
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  bool isSent = false;
  while (!hasCome && std::chrono::steady_clock::now() < deadline) {
    if (!isSent) isSent = phone.sendPacket(varno::KeepAliveCommandPacket());
    tasks.runUntil(std::chrono::steady_clock::now() + std::chrono::milliseconds(1),
                   [&] { return hasCome; });
  }
  if (hasCome) return EXIT_SUCCESS;
  std::puts("the packet did not come");
  return EXIT_FAILURE;
}
