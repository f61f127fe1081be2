#include <VarnoNetwork/Network/HudException.h>

namespace varno {

HudException::HudException(const char* name, const std::string& reason)
    : std::runtime_error(reason), name_(name) {}
HudException::~HudException() = default;

InternalInconsistencyException::InternalInconsistencyException(const std::string& reason)
    : HudException("InternalInconsistencyException", reason) {}
InternalInconsistencyException::~InternalInconsistencyException() = default;

InvalidArgumentException::InvalidArgumentException(const std::string& reason)
    : HudException("InvalidArgumentException", reason) {}
InvalidArgumentException::~InvalidArgumentException() = default;

IndexOutOfBoundsException::IndexOutOfBoundsException()
    : HudException("IndexOutOfBoundsException",
                   "Attempted to access an array index that is out of bounds") {}
IndexOutOfBoundsException::~IndexOutOfBoundsException() = default;

CollectionMutatedException::CollectionMutatedException()
    : HudException("CollectionMutatedException",
                   "The set of listeners was changed while a packet was delivered to it") {}
CollectionMutatedException::~CollectionMutatedException() = default;

MainThreadClosedException::MainThreadClosedException()
    : HudException("MainThreadClosedException", "The main thread takes no more tasks") {}
MainThreadClosedException::~MainThreadClosedException() = default;

WaitCanceledException::WaitCanceledException()
    : HudException("WaitCanceledException", "The wait for the main thread was canceled") {}
WaitCanceledException::~WaitCanceledException() = default;

void throwNotYetImplemented() { throw InternalInconsistencyException("Not yet implemented"); }

}  // namespace varno
