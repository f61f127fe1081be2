#pragma once

#include <VarnoTraffic/VarnoTraffic.h>

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {

// The words for the forms of traffic on the command line: pcapng, json, text, dump, hex, wire.
std::vector<std::string> formatNames();
InputFormat formatNamed(std::string_view name);

// The form that a file's name tells by its ending; none where it has another one.
std::optional<InputFormat> formatOfName(std::string_view path);
// ".pcapng (pcapng), .json .jsonl (json), ...": the endings, for people.
std::string formatEndings();

// Whether the form has nothing but bytes, so that it cannot hold both directions.
bool isOneStream(InputFormat format);

// Writes records in the form. output: outlives the writer, and throws what goes wrong.
std::unique_ptr<RecordWriter> makeWriter(InputFormat format, std::ostream& output, Secrets secrets);

}  // namespace varno::tool
