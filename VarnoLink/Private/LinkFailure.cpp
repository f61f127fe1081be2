#include <VarnoLink/Private/LinkFailure.h>

#include <cerrno>
#include <exception>
#include <new>
#include <system_error>

namespace varno {

std::string reasonOf(int error) {
  switch (error) {
    case ECONNREFUSED: return "connection refused";
    case ECONNRESET: return "the peer reset the connection";
    case EPIPE: return "the peer hung up";
    case ETIMEDOUT: return "the peer is silent";
    case EHOSTUNREACH: return "the host cannot be reached";
    case ENETUNREACH: return "the network cannot be reached";
    case ENETDOWN: return "the network is down";
    case EADDRINUSE: return "the address is in use";
    case EADDRNOTAVAIL: return "this machine has no such address";
    case EACCES:
    case EPERM: return "permission denied";
    case ENOENT: return "no such file";
    case ENODEV:
    case ENXIO: return "no such device";
    case EIO: return "the device fails, or is gone";
    case EMFILE:
    case ENFILE: return "too many open files";
    case ENOMEM:
    case ENOBUFS: return "out of memory";
    default: return std::generic_category().message(error);
  }
}

std::string currentReason() {
  try {
    throw;
  } catch (const LinkFailure& failure) {
    return failure.what();
  } catch (const std::system_error& error) {
    return reasonOf(error.code().value());
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& exception) {
    return exception.what();
  }
}

}  // namespace varno
