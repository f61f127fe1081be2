#pragma once

#include <VarnoLink/Private/Opener.h>

#include <utility>

namespace varno {

// Opens a serial device.
class SerialOpener final : public Opener {
 public:
  SerialOpener(EventHost& host, Owner& owner, Address address)
      : Opener(host, owner), address_(std::move(address)) {}

  void start() override;
  void cancel() noexcept override {}

 private:
  const Address address_;
};

// Makes a pseudo-terminal and waits until somebody opens its path.
class PtyOpener final : public Opener {
 public:
  PtyOpener(EventHost& host, Owner& owner) : Opener(host, owner), address_(Address::pty()) {}

  void start() override;
  void cancel() noexcept override {}
  void close() noexcept override { side_ = Descriptor(); }
  bool isListening() const override { return true; }

 private:
  void awaitPeer();

  Descriptor side_;
  Address address_;
};

}  // namespace varno
