#include <VarnoNetwork/VarnoNetwork.h>

struct NamePacket : varno::TypedPacket<NamePacket, varno::CommandPacket, 60, 0> {
  static constexpr std::string_view kTypeName = "NamePacket";
  std::string name;  // no HudString

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("name", self.name);
  }
};

int main() { return NamePacket().name.empty() ? 0 : 1; }
