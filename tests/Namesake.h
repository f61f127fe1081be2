#pragma once

#include <memory>

namespace varno::test {

// Registers, while the result lives, another file's class of the name `NamesakeEventPacket`.
std::shared_ptr<void> registerNamesake();

}  // namespace varno::test
