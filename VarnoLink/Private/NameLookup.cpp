#include <VarnoLink/Private/NameLookup.h>

#include <VarnoLink/Private/LinkFailure.h>
#include <VarnoLink/Private/SignalsBlocked.h>

#include <list>
#include <mutex>
#include <new>
#include <thread>
#include <utility>

namespace varno {

struct NameLookup::Request {
  const std::string host;
  const std::uint16_t port;
  std::mutex mutex;  // held while onDone runs
  OnDone onDone;     // none once it was called or canceled

  bool isWanted() {
    const std::lock_guard lock(mutex);
    return onDone != nullptr;
  }

  void complete(LookupResult result) {
    const std::lock_guard lock(mutex);
    if (onDone) std::exchange(onDone, nullptr)(std::move(result));
  }
};

namespace {

constexpr int kMaxThreads = 4;

LookupResult resultOf(const std::string& host, std::uint16_t port) {
  try {
    try {
      return {lookUp(host, port), {}};
    } catch (const LinkFailure& failure) {
      return {{}, failure.what()};
    }
  } catch (const std::bad_alloc&) {  // of the reason's copy, too
    return {{}, "out of memory"};
  }
}

}  // namespace

// Shared by its threads, so that it stays as long as one of them is still asking, also when the
// process ends.
class NameLookup::Pool : public std::enable_shared_from_this<Pool> {
 public:
  static std::shared_ptr<Pool> instance() {
    static const auto pool = std::make_shared<Pool>();
    return pool;
  }

  void add(std::shared_ptr<Request> request) {
    const std::lock_guard lock(mutex_);
    requests_.remove_if([](const auto& waiting) { return !waiting->isWanted(); });
    requests_.push_back(std::move(request));
    if (threads_ == kMaxThreads) return;
    try {
      const SignalsBlocked blocked;
      std::thread([pool = shared_from_this()] { pool->work(); }).detach();
      ++threads_;
    } catch (...) {
      // One of those that run will come to it; without any, nobody would.
      if (threads_ > 0) return;
      requests_.pop_back();
      throw;
    }
  }

 private:
  void work() {
    while (const std::shared_ptr<Request> request = next()) {
      if (request->isWanted()) request->complete(resultOf(request->host, request->port));
    }
  }

  // Null, and the thread does not count any more, where nothing is left to do.
  std::shared_ptr<Request> next() {
    const std::lock_guard lock(mutex_);
    if (requests_.empty()) {
      --threads_;
      return nullptr;
    }
    std::shared_ptr<Request> request = std::move(requests_.front());
    requests_.pop_front();
    return request;
  }

  std::mutex mutex_;
  std::list<std::shared_ptr<Request>> requests_;
  int threads_ = 0;
};

NameLookup::NameLookup(std::string host, std::uint16_t port, OnDone onDone)
    : request_(new Request{std::move(host), port, {}, std::move(onDone)}) {
  Pool::instance()->add(request_);
}

NameLookup::~NameLookup() {
  const std::lock_guard lock(request_->mutex);
  request_->onDone = nullptr;
}

}  // namespace varno
