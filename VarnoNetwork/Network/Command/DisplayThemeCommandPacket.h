#pragma once

#include <VarnoNetwork/Network/CommandPacket.h>
#include <VarnoNetwork/Network/TypedPacket.h>

namespace varno {

// Chooses the display's theme.
class VARNO_EXPORT DisplayThemeCommandPacket
    : public TypedPacket<DisplayThemeCommandPacket, CommandPacket, 9, 11> {
 public:
  static constexpr std::string_view kTypeName = "DisplayThemeCommandPacket";

  // A code that the display defines.
  std::int32_t theme() const { return theme_; }
  void setTheme(std::int32_t theme) { theme_ = theme; }

  template <class Self, class Visit>
  static void fields(Self& self, Visit& visit) {
    visit("theme", self.theme_);
  }

 private:
  std::int32_t theme_ = 1;
};

}  // namespace varno
