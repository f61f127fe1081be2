#include <VarnoLink/Link.h>

#include <VarnoLink/Private/LinkCore.h>

#include <new>
#include <utility>

namespace varno {

std::string_view linkStateText(LinkState state) noexcept {
  switch (state) {
    case LinkState::kConnecting: return "connecting";
    case LinkState::kUp: return "up";
    default: return "down";
  }
}

Link::Link(LinkLoop& loop, Address address, LinkOptions options, LinkHandlers handlers)
    : core_(std::make_shared<LinkCore>(*loop.core_, std::move(address), options,
                                       std::move(handlers))) {}

Link::Link(LinkLoop& loop, int descriptor, LinkOptions options, LinkHandlers handlers)
    : core_(std::make_shared<LinkCore>(*loop.core_, Descriptor(descriptor), options,
                                       std::move(handlers))) {}

Link::~Link() { core_->abandon(); }

void Link::open() { core_->open(); }
void Link::close() noexcept { core_->close(); }
void Link::hangUp() noexcept { core_->hangUp(); }
void Link::reset() noexcept { core_->reset(); }
bool Link::send(std::span<const std::uint8_t> bytes) noexcept {
  try {
    return core_->send(bytes);
  } catch (const std::bad_alloc&) {
    return false;
  }
}
bool Link::sendOrThrow(std::span<const std::uint8_t> bytes) { return core_->send(bytes); }
std::size_t Link::queuedBytes() const noexcept { return core_->queuedBytes(); }
std::size_t Link::queuedSends() const noexcept { return core_->queuedSends(); }
void Link::pauseReading() noexcept { core_->pauseReading(); }
void Link::resumeReading() { core_->resumeReading(); }
const LinkStatus& Link::status() const noexcept { return core_->status(); }

}  // namespace varno
