// Cuts a stream whose frames a packet of the library has written.
#include <VarnoNetwork/VarnoNetwork.h>
#include <VarnoTraffic/VarnoTraffic.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

int main() {
  varno::HudOutputStream stream;
  stream.directWrite(0xFF);
  varno::KeepAliveCommandPacket().serialize(stream);
  std::vector<varno::RecordKind> kinds;
  varno::FrameCutter cutter;
  cutter.feed(stream.toNSData(),
              [&](const varno::FrameCutter::Piece& piece) { kinds.push_back(piece.kind); });
  if (kinds == std::vector{varno::RecordKind::kNoise, varno::RecordKind::kFrame}) {
    return EXIT_SUCCESS;
  }
  std::puts("the stream was cut otherwise");
  return EXIT_FAILURE;
}
