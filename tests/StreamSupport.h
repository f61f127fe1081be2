#pragma once

#include "TestSupport.h"

#include <tests/reference/ReferenceCodec.h>

namespace varno::test {

using In = HudInputStream;
using Out = HudOutputStream;

// The bytes as the reference codec writes them.
inline Bytes stuffed(std::span<const std::uint8_t> plain) {
  reference::OutputStream out;
  out.write(plain.data(), plain.size());
  return out.toNSData();
}

}  // namespace varno::test
