#pragma once

#include <VarnoLink/LinkOptions.h>
#include <VarnoLink/Private/Descriptor.h>

namespace varno {

// Sockets that do not wait. All functions throw std::system_error.

Descriptor openSocket(int family);

void setSocketOption(const Descriptor& socket, int level, int name, int value);

// What is set on a connection, once it is one: the time limits would be those of the attempt, too.
void prepareConnection(const Descriptor& socket, const LinkOptions& options);

// The next peer that has connected; none where nobody has.
Descriptor acceptConnection(int listening);

}  // namespace varno
