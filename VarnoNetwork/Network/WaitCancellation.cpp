#include <VarnoNetwork/Network/Private/WaitTicket.h>
#include <VarnoNetwork/Network/WaitCancellation.h>

#include <cstddef>
#include <mutex>
#include <new>
#include <thread>

namespace varno {

// A scope in the list of all scopes of the process. Threads are told apart by their ids: a scope
// does not outlive its thread, so no later thread can have the id meanwhile. Not a thread_local
// pointer: in a library that is loaded late, a thread's first use of one allocates, and ends the
// process if that fails.
struct WaitCancellation::Scope::Entry {
  const std::shared_ptr<std::atomic<bool>> isCanceled;
  const std::thread::id thread = std::this_thread::get_id();
  WaitTicket* ticket = nullptr;  // what the thread waits for
  Entry* next = nullptr;

  // Guards the list and its entries. Taken before a ticket's mutex. Needs no memory from the heap,
  // and is never destroyed: a thread may still wait while static objects are destroyed.
  static std::mutex& mutex() noexcept {
    alignas(std::mutex) static std::byte storage[sizeof(std::mutex)];
    static std::mutex& mutex = *new (storage) std::mutex;
    return mutex;
  }

  // Calls the action with each entry of the calling thread. The mutex is held.
  template <class Action>
  static void forEachOfThisThread(Action action) {
    const std::thread::id thread = std::this_thread::get_id();
    for (Entry* entry = first; entry != nullptr; entry = entry->next) {
      if (entry->thread == thread) action(*entry);
    }
  }

  static Entry* first;
};

constinit WaitCancellation::Scope::Entry* WaitCancellation::Scope::Entry::first = nullptr;

WaitCancellation::WaitCancellation() : isCanceled_(std::make_shared<std::atomic<bool>>(false)) {}

WaitCancellation::~WaitCancellation() = default;

void WaitCancellation::cancel() noexcept {
  const std::lock_guard lock(Scope::Entry::mutex());
  *isCanceled_ = true;
  for (const auto* entry = Scope::Entry::first; entry != nullptr; entry = entry->next) {
    if (entry->isCanceled == isCanceled_ && entry->ticket != nullptr) entry->ticket->cancel();
  }
}

bool WaitCancellation::isCanceled() const noexcept { return *isCanceled_; }

WaitCancellation::Scope::Scope(const WaitCancellation& cancellation)
    : entry_(new Entry{cancellation.isCanceled_}) {
  const std::lock_guard lock(Entry::mutex());
  entry_->next = Entry::first;
  Entry::first = entry_.get();
}

WaitCancellation::Scope::~Scope() {
  const std::lock_guard lock(Entry::mutex());
  Entry** link = &Entry::first;
  while (*link != entry_.get()) link = &(*link)->next;
  *link = entry_->next;
}

CancelableWait::CancelableWait(WaitTicket& ticket) noexcept {
  using Entry = WaitCancellation::Scope::Entry;
  const std::lock_guard lock(Entry::mutex());
  Entry::forEachOfThisThread([&](Entry& entry) {
    if (entry.ticket != nullptr) outer_ = entry.ticket;
    entry.ticket = &ticket;
    if (*entry.isCanceled) ticket.cancel();
  });
}

CancelableWait::~CancelableWait() {
  using Entry = WaitCancellation::Scope::Entry;
  const std::lock_guard lock(Entry::mutex());
  Entry::forEachOfThisThread([this](Entry& entry) {
    entry.ticket = outer_;
    if (outer_ != nullptr && *entry.isCanceled) outer_->cancel();
  });
}

bool CancelableWait::isCanceled() noexcept {
  using Entry = WaitCancellation::Scope::Entry;
  bool isCanceled = false;
  const std::lock_guard lock(Entry::mutex());
  Entry::forEachOfThisThread([&](const Entry& entry) { isCanceled |= *entry.isCanceled; });
  return isCanceled;
}

}  // namespace varno
