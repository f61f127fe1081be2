#include <VarnoNetwork/VarnoNetwork.h>
#include <bench/SamplePackets.h>

#include <random>
#include <string_view>
#include <utility>

namespace varno::bench {
namespace {

constexpr std::size_t kBigBytes = 30'000;

std::string ascii(std::size_t length) {
  constexpr std::string_view kPangram = "The quick brown fox jumps over the lazy dog, 0123456789 ";
  std::string text;
  while (text.size() < length) text += kPangram;
  text.resize(length);
  return text;
}

std::string escaped() {
  constexpr std::string_view kEscapes = "\x02\x03\x7D";
  std::string text = ascii(kBigBytes);
  std::minstd_rand random(1);
  for (std::size_t count = 0; count < text.size() / 100; ++count) {
    text[random() % text.size()] = kEscapes[random() % kEscapes.size()];
  }
  return text;
}

std::string cjk() {
  std::string text;
  std::minstd_rand random(2);
  while (text.size() < kBigBytes) {
    const auto value = static_cast<char32_t>(0xAC00 + random() % 11'172);  // a Hangul syllable
    text += static_cast<char>(0xE0 | value >> 12);
    text += static_cast<char>(0x80 | (value >> 6 & 0x3F));
    text += static_cast<char>(0x80 | (value & 0x3F));
  }
  return text;
}

std::string latin() {
  std::string text = ascii(kBigBytes);
  for (std::size_t at = 0; at < text.size(); at += 50) text.replace(at, 2, "\xC3\xA9");
  return text;
}

std::shared_ptr<HudPacket> notification(std::string app, std::string title, std::string message) {
  auto packet = std::make_shared<SocialNotificationPacket>();
  packet->setPackageName(std::move(app));
  packet->setTitle(std::move(title));
  packet->setMessage(std::move(message));
  return packet;
}

std::shared_ptr<HudPacket> message(std::string text) {
  auto packet = std::make_shared<SocialNotificationPacket>();
  packet->setMessage(std::move(text));
  return packet;
}

}  // namespace

std::shared_ptr<HudPacket> smallPacket() { return std::make_shared<KeepAliveCommandPacket>(); }

std::vector<Sample> samplePackets() {
  auto medium = std::make_shared<SystemTimeCommandPacket>();
  medium->setTimeInMillis(1'700'000'000'000);
  medium->setTimeZoneId("America/New_York");
  return {{"small", smallPacket()},
          {"medium", medium},
          {"text", notification(ascii(15), ascii(20), ascii(80))},
          {"text latin", notification("com.example.chat", "Jörg",
                                      "Wir sind gegen 18 Uhr zurück. Bringst du bitte für alle "
                                      "Brötchen und etwas Käse mit?")},
          {"text korean", notification("com.example.chat", "엄마",
                                       "오늘 저녁 7시쯤 도착할 것 같아. 길이 많이 막히니까 "
                                       "조심해서 천천히 와!")},
          {"ascii 300", message(ascii(300))},
          {"ascii 3000", message(ascii(3'000))},
          {"big", message(ascii(kBigBytes))},
          {"escaped", message(escaped())},
          {"latin", message(latin())},
          {"cjk", message(cjk())}};
}

}  // namespace varno::bench
