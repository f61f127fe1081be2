#pragma once

#include <VarnoTraffic/PacketDirectory.h>

#include <functional>
#include <string>

// A terminal's line, with editing, history and completion, by a library that is there or not. The
// library has one line for the whole process.

namespace varno::tool::line_editor {

// Whether there is such a library.
bool isThere();

// From here on until end(), the terminal is the editor's. onLine gets each line; null stands for
// the input's end. directory: whose names are completed; outlives it.
void begin(const PacketDirectory& directory, std::function<void(const char* line)> onLine);
void end();

// Reads what was typed, without waiting.
void read();

// The typed line goes away, and is shown again.
void hide();
void show();

}  // namespace varno::tool::line_editor
