#pragma once

namespace varno {

// The apps of DisplayNotificationSettingCommandPacket's default table, by the package names under
// which their notifications are sent. Music, e-mail, OBD-II and Skype have names of this
// system's own, not those of an app.
inline constexpr char DEFAULT_CALL_PACKAGE_NAME[] = "com.apple.mobilephone";
inline constexpr char DEFAULT_SMS_PACKAGE_NAME[] = "com.apple.MobileSMS";
inline constexpr char DEFAULT_MUSIC_PACKAGE_NAME[] = "com.varno.music";
inline constexpr char DEFAULT_EMAIL_PACKAGE_NAME[] = "com.varno.email";
inline constexpr char DEFAULT_OBD2_PACKAGE_NAME[] = "com.varno.obd2";
inline constexpr char DEFAULT_KAKAO_TALK_PACKAGE_NAME[] = "com.iwilab.KakaoTalk";
inline constexpr char DEFAULT_WHATSAPP_PACKAGE_NAME[] = "net.whatsapp.WhatsApp";
inline constexpr char DEFAULT_FACEBOOK_PACKAGE_NAME[] = "com.facebook.Messenger";
inline constexpr char DEFAULT_WECHAT_PACKAGE_NAME[] = "com.tencent.xin";
inline constexpr char DEFAULT_LINE_PACKAGE_NAME[] = "jp.naver.line";
inline constexpr char DEFAULT_SKYPE_PACKAGE_NAME[] = "com.varno.skype";
inline constexpr char DEFAULT_VIBER_PACKAGE_NAME[] = "com.viber";
inline constexpr char DEFAULT_TANGO_PACKAGE_NAME[] = "com.sgiggle.Tango";
inline constexpr char DEFAULT_NIMBUZZ_PACKAGE_NAME[] = "com.nimbuzz.Nimbuzz";
inline constexpr char DEFAULT_KIK_PACKAGE_NAME[] = "com.kik.chat";
inline constexpr char DEFAULT_TELEGRAM_PACKAGE_NAME[] = "ph.telegra.Telegraph";

}  // namespace varno
