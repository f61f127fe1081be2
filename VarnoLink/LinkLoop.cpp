#include <VarnoLink/LinkLoop.h>

#include <VarnoLink/Private/LoopCore.h>

#include <asio/post.hpp>

#include <utility>

namespace varno {

LinkLoop::LinkLoop() : core_(std::make_unique<LoopCore>()) {}

LinkLoop::~LinkLoop() = default;

void LinkLoop::run() {
  asio::io_context& context = core_->context();
  context.run();
  context.restart();
}

void LinkLoop::stop() noexcept { core_->context().stop(); }

void LinkLoop::post(Task task) {
  asio::post(core_->context(), [task = std::move(task)] { task(); });
}

bool LinkLoop::isCurrent() const noexcept {
  return core_->context().get_executor().running_in_this_thread();
}

const Clock& LinkLoop::clock() const noexcept { return core_->clock(); }

}  // namespace varno
