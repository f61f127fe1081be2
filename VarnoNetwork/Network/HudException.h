#pragma once

#include <VarnoNetwork/Export.h>

#include <stdexcept>
#include <string>

namespace varno {

// A failure with a name, which tells its kind, and a reason, which is also its what().
// The base of everything that this library throws of its own accord; memory that runs out is
// std::bad_alloc, and what a listener throws stays what it is.
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

// A received frame is malformed. Named "InvalidArgumentException".
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

// A listener changed the set of listeners that was being walked. Named
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

// The failure of an operation that a derived type must override: throws
// InternalInconsistencyException with the reason "Not yet implemented".
[[noreturn]] VARNO_EXPORT void throwNotYetImplemented();

}  // namespace varno
