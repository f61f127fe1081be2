#include "tools/varno/Subcommand.h"

#include <array>

namespace varno::tool {
namespace {

constexpr std::array kSubcommands = {
    Subcommand{"types", "Show the packet types: identifiers, fields, defaults",
               "varno types\n"
               "varno types SystemTime --json\n",
               defineTypes},
    Subcommand{"encode", "Turn packets into frames",
               "varno encode 'SystemTime timeInMillis=125 timeZoneId=GMT'\n"
               "varno encode --raw <packets.txt >frames.bin\n",
               defineEncode},
    Subcommand{"decode", "Show what recorded traffic says, and what is wrong in it",
               "varno decode --bad app.log\n"
               "echo '02 7D 7E 7D 7F 7D 7D 03' | varno decode --explain\n",
               defineDecode},
    Subcommand{"convert", "Turn one form of recorded traffic into another",
               "varno convert app.log app.pcapng\n"
               "varno convert drive.pcapng - --to json\n"
               "varno convert drive.pcapng drive.varno\n",
               defineConvert},
#ifdef VARNO_HAS_PAGE
    Subcommand{"page", "Show recorded traffic in a browser",
               "varno page drive.pcapng\n"
               "varno page --page-port 8080 app.log\n",
               definePage},
#endif
    Subcommand{"send", "Send packets over a link",
               "varno send tcp://192.168.43.1:4711 KeepAlive 'DisplayTheme theme=2'\n"
               "varno send --wait 10s serial:///dev/ttyUSB0 <packets.txt\n",
               defineSend},
    Subcommand{"listen", "Show and record what comes over a link",
               "varno listen tcp://192.168.43.1:4711\n"
               "varno listen tcp-listen://127.0.0.1:4711 --as display --record drive.pcapng\n",
               defineListen},
    Subcommand{"tap", "Stand between a phone and a display: show, record, put faults in",
               "varno tap tcp-listen://127.0.0.1:4711 tcp://192.168.43.1:4711\n"
               "varno tap pty:// serial:///dev/ttyUSB0 --record drive.pcapng --fault '< drop "
               "chance=0.1'\n",
               defineTap},
    Subcommand{"replay", "Send recorded traffic again, at its own pace",
               "varno replay drive.pcapng tcp://192.168.43.1:4711\n"
               "varno replay drive.pcapng unix:///run/display --expect --speed 10\n",
               defineReplay},
    Subcommand{"display", "Be a display, and print each change of what a driver would see",
               "varno display tcp-listen://127.0.0.1:4711\n"
               "varno display pty:// --record drive.pcapng --headless\n",
               defineDisplay},
    Subcommand{"run", "Run a scenario against an application or a display",
               "varno run scenarios/first-pairing.varno tcp-listen://127.0.0.1:4711\n"
               "varno run flood.varno unix:///run/display --as phone --junit report.xml\n",
               defineRun},
    Subcommand{"phone", "Be the phone by hand: send packets, show what comes",
               "varno phone tcp://192.168.43.1:4711\n"
               "echo 'SystemTime timeInMillis=125' | varno phone unix:///run/display\n",
               definePhone},
    Subcommand{"wireshark", "Print the dissector for Wireshark and tshark",
               "varno wireshark >~/.local/lib/wireshark/plugins/varno.lua\n"
               "varno wireshark >varno.lua; tshark -X lua_script:varno.lua -r drive.pcapng\n",
               defineWireshark},
    Subcommand{"completion", "Print the shell's completion of this command",
               "source <(varno completion bash)\n"
               "varno completion zsh >~/.zfunc/_varno\n",
               defineCompletion},
};

}  // namespace

std::span<const Subcommand> subcommands() { return kSubcommands; }

}  // namespace varno::tool
