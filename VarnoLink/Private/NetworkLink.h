#pragma once

#include <VarnoLink/Link.h>
#include <VarnoLink/LinkNetwork.h>
#include <VarnoLink/LinkTimer.h>
#include <VarnoLink/Private/FaultyWay.h>
#include <VarnoLink/Private/FrameOutbox.h>
#include <VarnoNetwork/Network/WaitCancellation.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace varno {

// The link of a LinkNetwork, and its thread. Shared by both, since the thread may outlive the
// network where an observer does not return.
class NetworkLink : public std::enable_shared_from_this<NetworkLink> {
 public:
  // network: may be destroyed before; see FrameInbox.
  static std::shared_ptr<NetworkLink> make(const HudNetwork& network, const Address& address,
                                           LinkNetworkOptions options);
  static std::shared_ptr<NetworkLink> make(const HudNetwork& network, int descriptor,
                                           LinkNetworkOptions options);

  NetworkLink(const NetworkLink&) = delete;
  NetworkLink& operator=(const NetworkLink&) = delete;
  ~NetworkLink() = default;

  // As the functions of LinkNetwork, on any thread.
  void start();
  void stop() noexcept;
  bool flush(std::chrono::milliseconds timeout);
  LinkStatus status() const;
  LinkNetworkCounters counters() const;
  bool send(std::span<const std::uint8_t> frame, FrameOutbox::OnGiven&& onGiven);
  FaultyWay& way(Direction direction) { return direction == options_.sends ? out_ : in_; }

 private:
  struct Written {
    std::size_t bytes;
    bool isFrame;  // of the outbox, not what a fault made of one
  };

  NetworkLink(LinkNetworkOptions options, const Address& address);

  static std::shared_ptr<NetworkLink> makeUnconnected(const HudNetwork& network,
                                                      LinkNetworkOptions options,
                                                      const Address& address);
  LinkHandlers handlers();
  LinkOptions linkOptions() const;

  // On the link's thread.
  void run() noexcept;
  void runLoop() noexcept;
  void end(const std::string& reason);
  void onStatus(LinkStatus status);
  void onWritten(std::size_t sends);
  void sendQueued();
  void sendOut(const FaultStage::Emission& emission, bool isUntouched);
  void takeIn(const FaultStage::Emission& emission);
  void show(Direction direction, const FaultStage::Emission& emission);
  void countOther();
  void hangUp();
  void setReading();
  void record(RecordKind kind, const std::string& note);
  void record(const TrafficRecord& record);
  template <class Show>
  void observe(Show show);

  // On the main thread.
  class StatusTeller;
  void tell(const LinkStatus& status);
  void tell(FrameOutbox::OnGiven&& onGiven, bool isGiven);

  const LinkNetworkOptions options_;
  const std::shared_ptr<StatusTeller> statusTeller_;
  const std::shared_ptr<void> untold_;  // shared by each OnGiven that waits for the main thread
  WaitCancellation cancellation_;       // of an observer that waits for the main thread
  LinkLoop loop_;
  FrameOutbox outbox_;
  std::optional<FrameInbox> inbox_;

  // Those of the link's thread.
  FaultyWay out_;
  FaultyWay in_;
  std::optional<Link> link_;
  LinkTimer readingTimer_;
  FrameOutbox::Batch batch_;
  std::deque<Written> written_;                       // what the link has still to write
  std::size_t otherBytes_ = 0;                        // of those that are no frame of the outbox
  std::optional<FaultStage::Emission::Kind> hangUp_;  // once everything was written
  std::string reason_;  // why the connection is about to end, where the link does not know better
  bool isUp_ = false;
  bool isPaused_ = false;
  bool hasRoom_ = true;

  std::atomic<std::uint64_t> connections_ = 0;
  std::atomic<std::uint64_t> receivedBytes_ = 0;

  mutable std::mutex mutex_;  // guards what follows
  LinkStatus status_;
  std::thread thread_;
  std::condition_variable finished_;
  bool isStarted_ = false;
  bool isFinished_ = false;
};

}  // namespace varno
