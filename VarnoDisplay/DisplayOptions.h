#pragma once

#include <VarnoDisplay/DisplayCodes.h>
#include <VarnoDisplay/TrafficHistory.h>
#include <VarnoTraffic/PacketDirectory.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace varno {

// What a simulated display does of its own accord.
enum class DisplayAnswer : std::uint8_t {
  kVersion,          // tells its version when the link comes up
  kBluetoothStatus,  // tells that Bluetooth went on or off
  kDevicesFound,     // tells the devices it finds while it scans
  kPairing,          // tells that it paired with a sound device
  kConnection,       // tells that a sound device was connected or disconnected
  kWifiStatus,       // tells that it joined the network, or why not
  kLineCheck,        // confirms a check of the serial line
  kUpdate,           // tells that it is ready for a software update
  kHangUp,           // hangs up after the phone has said goodbye
  kRestart,          // hangs up after a reset, as a display does that starts anew
  kKeepAliveWatch,   // notes where keep-alives are missing; sends nothing
};

// How long a display takes.
struct DisplayDelays {
  std::chrono::milliseconds version{150};
  std::chrono::milliseconds bluetoothStatus{200};
  std::chrono::milliseconds eachDeviceFound{700};
  std::chrono::milliseconds scan{12'000};  // then it ends by itself
  std::chrono::milliseconds pairing{1'500};
  std::chrono::milliseconds connection{900};
  std::chrono::milliseconds wifi{2'000};
  std::chrono::milliseconds lineCheck{20};
  std::chrono::milliseconds updateReady{500};
  std::chrono::milliseconds hangUp{100};
  std::chrono::milliseconds restart{300};
  std::chrono::milliseconds keepAlive{10'000};  // one that comes later is missed
};

// What a simulated display is, and what it does by itself.
struct DisplayOptions {
  // A sound device that a scan finds.
  struct Device {
    std::string name;
    std::string address;
  };

  std::string modelName = "HUD";
  std::string systemVersion = "2.1";
  std::string bleVersion = "1.4";
  std::vector<Device> devices = {{"Headset", "00:00:5E:00:53:01"},
                                 {"Car speaker", "00:00:5E:00:53:02"}};  // that a scan finds
  std::string wifiAddress = "192.0.2.17";         // that it gets where it joins a network
  std::int64_t updateBytesPerSecond = 4'000'000;  // how fast an update goes in
  std::size_t maxNotices = 5;                     // that are shown; beyond it the oldest one goes
  std::size_t maxHistory = TrafficHistory::kDefaultMaxRecords;
  std::uint64_t seed = 0;  // of the faults
  DisplayCodes codes = {};
  DisplayDelays delays = {};
  std::set<DisplayAnswer> switchedOff = {};
  PacketDirectory directory = {};  // the packet types that it understands
};

}  // namespace varno
