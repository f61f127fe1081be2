#pragma once

#include <VarnoNetwork/Network/HudPacket.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace varno::bench {

struct Sample {
  std::string name;
  std::shared_ptr<HudPacket> packet;
};

//   small         no payload
//   medium        a 64-bit integer and a string of 16 bytes
//   text          strings of 15, 20 and 80 bytes
//   text latin    a notification of 109 bytes in German, five letters of which have two bytes
//   text korean   a notification of 120 bytes in Korean, two thirds of its characters beyond ASCII
//   big           one string of 30,000 ASCII bytes; also with 300 and 3,000 bytes
//   escaped       big, 1% of whose bytes are escaped
//   latin         big with a letter of two bytes every 50 bytes
//   cjk           10,000 characters of three bytes
std::vector<Sample> samplePackets();

std::shared_ptr<HudPacket> smallPacket();

}  // namespace varno::bench
