#pragma once

#include <VarnoNetwork/Export.h>

#include <stdexcept>
#include <string>

namespace varno {

// A failure with a name (its kind) and a reason (also its what()). The base of all exceptions that
// the library itself throws, except std::bad_alloc when memory runs out. What a listener throws is
// passed on unchanged.
class VARNO_EXPORT HudException : public std::runtime_error {
 public:
  // name: a string literal, or other text that outlives every copy of the exception.
  HudException(const char* name, const std::string& reason);
  ~HudException() override;

  const char* name() const noexcept { return name_; }
  const char* reason() const noexcept { return what(); }

 private:
  const char* name_;
};

// A programming error: an abstract operation was called, or two packet types share one id.
// Named "InternalInconsistencyException".
class VARNO_EXPORT InternalInconsistencyException : public HudException {
 public:
  explicit InternalInconsistencyException(const std::string& reason);
  ~InternalInconsistencyException() override;
};

// An argument cannot be used: a received frame is malformed, a payload holds what a field cannot
// take, or a handler is null. Named "InvalidArgumentException".
class VARNO_EXPORT InvalidArgumentException : public HudException {
 public:
  explicit InvalidArgumentException(const std::string& reason);
  ~InvalidArgumentException() override;
};

// An input stream was read past its end. Named "IndexOutOfBoundsException".
class VARNO_EXPORT IndexOutOfBoundsException : public HudException {
 public:
  IndexOutOfBoundsException();
  ~IndexOutOfBoundsException() override;
};

// The listeners of a packet type were changed while a packet was being delivered to them. Named
// "CollectionMutatedException".
class VARNO_EXPORT CollectionMutatedException : public HudException {
 public:
  CollectionMutatedException();
  ~CollectionMutatedException() override;
};

// The main thread takes no more tasks. Named "MainThreadClosedException".
class VARNO_EXPORT MainThreadClosedException : public HudException {
 public:
  MainThreadClosedException();
  ~MainThreadClosedException() override;
};

// The waits of this thread for the main thread were canceled. Named "WaitCanceledException".
class VARNO_EXPORT WaitCanceledException : public HudException {
 public:
  WaitCanceledException();
  ~WaitCanceledException() override;
};

// For an operation that a derived type must override: throws InternalInconsistencyException with
// the reason "Not yet implemented".
[[noreturn]] VARNO_EXPORT void throwNotYetImplemented();

}  // namespace varno
