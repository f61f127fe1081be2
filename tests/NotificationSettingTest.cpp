#include <VarnoNetwork/Network/Command/DisplayNotificationSettingCommandPacket.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestSupport.h"

namespace varno::test {
namespace {

using ::testing::ElementsAre;

using Setting = DisplayNotificationSettingCommandPacket;

TEST(NotificationSetting, PackageNameSetIsSharedAndMayBeNull) {
  Setting packet;
  const auto names = std::make_shared<std::set<std::string>>();
  packet.setPackageNameSet(names);
  packet.addPackageName("b");
  packet.addPackageName("a");
  packet.addPackageName("b");
  names->insert("c");
  EXPECT_THAT(packet.getPackageNameList(), ElementsAre("a", "b", "c"));
  packet.removePackageName("b");
  packet.removePackageName("d");
  EXPECT_THAT(*names, ElementsAre("a", "c"));
  EXPECT_TRUE(packet.containPackageName("c"));
  EXPECT_FALSE(packet.containPackageName("b"));
  ASSERT_TRUE(parse(packet, bytes("01 00 00 00 00 00 00 00 00 00 00 00 01 00 01 65")));
  EXPECT_THAT(*names, ElementsAre("e"));

  packet.setPackageNameSet(nullptr);
  packet.removePackageName("e");
  EXPECT_FALSE(packet.containPackageName("e"));
  EXPECT_THAT(packet.getPackageNameList(), ElementsAre());
  EXPECT_EQ(hex(payloadOf(packet)), "01 00 00 00 00 00 00 00 00 00 00 00 00");
  packet.addPackageName("f");
  EXPECT_THAT(*packet.packageNameSet(), ElementsAre("f"));
}

TEST(NotificationSetting, NamesMayComeInAnyOrder) {
  HudOutputStream stream;
  stream.writeBoolean(true);
  stream.writeLong(0);  // color and icon
  stream.writeInt(401);
  StringSet names;
  for (int turn = 0; turn < 400; ++turn) {
    const std::string name = std::to_string(turn * 7919 % 300);
    names.insert(name);
    stream.writeUTF(name);
  }
  Setting packet;
  EXPECT_FALSE(parse(packet, stream.toNSData()));  // one is missing
  EXPECT_EQ(*packet.packageNameSet(), names);
}

TEST(NotificationSetting, DefaultTable) {
  const struct {
    std::uint32_t color;
    std::string exported;
    std::string name;
  } rows[] = {
      {0xFFFFFFFF, DEFAULT_CALL_PACKAGE_NAME, "com.apple.mobilephone"},
      {0xFFFFFFFF, DEFAULT_SMS_PACKAGE_NAME, "com.apple.MobileSMS"},
      {0xFF39B1EE, DEFAULT_MUSIC_PACKAGE_NAME, "com.varno.music"},
      {0xFFFFFFFF, DEFAULT_EMAIL_PACKAGE_NAME, "com.varno.email"},
      {0xFFFFFFFF, DEFAULT_OBD2_PACKAGE_NAME, "com.varno.obd2"},
      {0xFFFAE100, DEFAULT_KAKAO_TALK_PACKAGE_NAME, "com.iwilab.KakaoTalk"},
      {0xFFFFFFFF, DEFAULT_WHATSAPP_PACKAGE_NAME, "net.whatsapp.WhatsApp"},
      {0xFFFFFFFF, DEFAULT_FACEBOOK_PACKAGE_NAME, "com.facebook.Messenger"},
      {0xFFFFFFFF, DEFAULT_WECHAT_PACKAGE_NAME, "com.tencent.xin"},
      {0xFFFFFFFF, DEFAULT_LINE_PACKAGE_NAME, "jp.naver.line"},
      {0xFFFFFFFF, DEFAULT_SKYPE_PACKAGE_NAME, "com.varno.skype"},
      {0xFFFFFFFF, DEFAULT_VIBER_PACKAGE_NAME, "com.viber"},
      {0xFFFFFFFF, DEFAULT_TANGO_PACKAGE_NAME, "com.sgiggle.Tango"},
      {0xFFFFFFFF, DEFAULT_NIMBUZZ_PACKAGE_NAME, "com.nimbuzz.Nimbuzz"},
      {0xFFFFFFFF, DEFAULT_KIK_PACKAGE_NAME, "com.kik.chat"},
      {0xFFFFFFFF, DEFAULT_TELEGRAM_PACKAGE_NAME, "ph.telegra.Telegraph"},
  };
  std::int32_t icon = 0;
  EXPECT_FALSE(Setting::getDefaultSettingPacketWith(icon));
  for (const auto& row : rows) {
    const auto packet = Setting::getDefaultSettingPacketWith(++icon);
    ASSERT_TRUE(packet);
    EXPECT_EQ(row.exported, row.name);
    EXPECT_EQ(packet->description(),
              formatText("DisplayNotificationSettingCommandPacket[enable : 0, textColor : 0x%X, "
                         "icon : 0x%X, package name count : 1 package name list[%@]]",
                         row.color, icon, row.name));
  }
  EXPECT_FALSE(Setting::getDefaultSettingPacketWith(icon + 1));
  EXPECT_EQ(Setting::getDefaultPackageMap().size(), std::size(rows));
  EXPECT_EQ(&Setting::getDefaultPackageMap(), &Setting::getDefaultPackageMap());
}

}  // namespace
}  // namespace varno::test
