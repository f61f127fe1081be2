#include "tools/varno/LineEditor.h"

#if defined(VARNO_HAS_LIBEDIT)

#include <VarnoNetwork/Network/FieldVisitor.h>

#include <editline/readline.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace varno::tool::line_editor {
namespace {

constexpr const char* kPrompt = "> ";

struct Editor {
  const PacketDirectory* directory = nullptr;
  std::function<void(const char* line)> onLine;
  std::vector<std::string> names;  // that may stand where the cursor is
  std::size_t next = 0;
};

// The library's callbacks take no argument of their owner's.
Editor& editor() {
  static Editor instance;
  return instance;
}

std::vector<std::string> namesFor(std::string_view before) {
  const PacketDirectory& directory = *editor().directory;
  std::vector<std::string> names;
  const std::size_t begin = before.find_first_not_of(' ');
  if (begin == std::string_view::npos) {
    for (const auto& entry : directory.entries()) names.emplace_back(entry.type.name());
    names.emplace_back("raw");
    return names;
  }
  const std::string_view type = before.substr(begin, before.find(' ', begin) - begin);
  const PacketDirectory::Entry* const entry = directory.find(type);
  if (entry == nullptr) return names;
  const auto packet = entry->type.make();
  forEachField(std::as_const(*packet),
               [&](const FieldInfo& field, const auto&) { names.push_back(field.path() + "="); });
  return names;
}

char* nextName(const char* text, int state) {
  Editor& its = editor();
  if (state == 0) its.next = 0;
  while (its.next < its.names.size()) {
    const std::string& name = its.names[its.next++];
    if (name.compare(0, std::strlen(text), text) == 0) return ::strdup(name.c_str());
  }
  return nullptr;
}

char** complete(const char* text, int begin, int /*end*/) {
  editor().names = namesFor(std::string_view(rl_line_buffer, static_cast<std::size_t>(begin)));
  // A field's name ends with its "=", where the value follows at once.
  rl_completion_append_character = begin == 0 ? int{' '} : 0;
  rl_attempted_completion_over = 1;  // no names of files
  return rl_completion_matches(text, nextName);
}

void takeLine(char* line) {
  if (line != nullptr && *line != '\0') add_history(line);
  const bool goesOn = line != nullptr;
  editor().onLine(line);
  std::free(line);  // NOLINT(cppcoreguidelines-no-malloc): the library gives it so
  // After a line, the library would wait for the whole of the next one.
  if (goesOn) rl_callback_handler_install(kPrompt, takeLine);
}

}  // namespace

bool isThere() { return true; }

void begin(const PacketDirectory& directory, std::function<void(const char* line)> onLine) {
  editor().directory = &directory;
  editor().onLine = std::move(onLine);
  rl_attempted_completion_function = complete;
  rl_callback_handler_install(kPrompt, takeLine);
}

void end() { rl_callback_handler_remove(); }

void read() { rl_callback_read_char(); }

void hide() {
  static_cast<void>(std::fputs("\r\x1b[K", stdout));
  static_cast<void>(std::fflush(stdout));
}

void show() { rl_forced_update_display(); }

}  // namespace varno::tool::line_editor

#else

namespace varno::tool::line_editor {

bool isThere() { return false; }
void begin(const PacketDirectory& /*directory*/, std::function<void(const char* line)> /*onLine*/) {
}
void end() {}
void read() {}
void hide() {}
void show() {}

}  // namespace varno::tool::line_editor

#endif
