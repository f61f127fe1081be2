#include <VarnoLink/Private/Opener.h>

#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/SocketConnector.h>
#include <VarnoLink/Private/SocketListener.h>
#include <VarnoLink/Private/TerminalOpeners.h>

#include <utility>

namespace varno {
namespace {

class DescriptorOpener : public Opener {
 public:
  DescriptorOpener(EventHost& host, Owner& owner, Descriptor descriptor)
      : Opener(host, owner),
        address_(Address::ofDescriptor(descriptor.number())),
        descriptor_(std::move(descriptor)) {}

  void start() override {
    if (!descriptor_) throw LinkFailure("the descriptor has ended");
    makeNonBlocking(descriptor_.number());
    owner().onOpening(address_);
    if (descriptor_) owner().onOpened(std::move(descriptor_), {});
  }
  void cancel() noexcept override {}
  void close() noexcept override { descriptor_ = Descriptor(); }
  bool canReopen() const override { return false; }

 private:
  const Address address_;
  Descriptor descriptor_;
};

}  // namespace

std::unique_ptr<Opener> makeOpener(EventHost& host, Opener::Owner& owner, const Address& address,
                                   const LinkOptions& options) {
  switch (address.kind()) {
    case Address::Kind::kTcpListen:
    case Address::Kind::kUnixListen:
      return std::make_unique<SocketListener>(host, owner, address, options);
    case Address::Kind::kSerial: return std::make_unique<SerialOpener>(host, owner, address);
    case Address::Kind::kPty: return std::make_unique<PtyOpener>(host, owner);
    case Address::Kind::kDescriptor:
      return makeOpener(host, owner, Descriptor(std::stoi(address.path())));
    default: return std::make_unique<SocketConnector>(host, owner, address, options);
  }
}

std::unique_ptr<Opener> makeOpener(EventHost& host, Opener::Owner& owner, Descriptor descriptor) {
  return std::make_unique<DescriptorOpener>(host, owner, std::move(descriptor));
}

}  // namespace varno
