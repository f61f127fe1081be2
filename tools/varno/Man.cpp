#include "tools/varno/Failure.h"
#include "tools/varno/Subcommand.h"

#include <VarnoNetwork/Version.h>

#include <string>
#include <string_view>
#include <vector>

namespace varno::tool {
namespace {

// Text for troff: nothing in it is a request, an escape, or a hyphen instead of a minus.
std::string escaped(std::string_view text) {
  std::string result;
  bool isLineStart = true;
  for (const char character : text) {
    if (isLineStart && (character == '.' || character == '\'')) result += "\\&";
    if (character == '\\') {
      result += "\\e";
    } else if (character == '-') {
      result += "\\-";
    } else if (character == '\'') {
      result += "\\(aq";
    } else {
      result += character;
    }
    isLineStart = character == '\n';
  }
  return result;
}

std::string valueOf(const CLI::Option& option) {
  const std::string text = option.get_type_name();
  return option.get_items_expected_max() == 0 ? "" : text.substr(0, text.find(':'));
}

std::string choicesOf(const CLI::Option& option) {
  const std::string text = option.get_type_name();
  const std::size_t begin = text.find('{');
  if (begin == std::string::npos) return {};
  std::string choices = " (";
  for (const char character : text.substr(begin + 1, text.size() - begin - 2)) {
    choices += character;
    if (character == ',') choices += ' ';
  }
  return choices + ")";
}

std::string optionText(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  if (option.get_positional()) names.push_back(option.get_name(true));
  std::string text = ".TP\n";
  for (const std::string& name : names) {
    text += (text.size() > 4 ? ", " : "") + std::string(option.get_positional() ? "\\fI" : "\\fB") +
            escaped(name) + "\\fR";
  }
  if (!option.get_positional() && !valueOf(option).empty()) {
    text += " \\fI" + escaped(valueOf(option)) + "\\fR";
  }
  return text + "\n" + escaped(option.get_description() + choicesOf(option)) + "\n";
}

std::string optionsText(const CLI::App& app, bool isPositional) {
  std::string text;
  for (const CLI::Option* const option : app.get_options()) {
    const bool isHelp = option == app.get_help_ptr();
    if (option->get_positional() != isPositional || isHelp) continue;
    text += optionText(*option);
  }
  return text;
}

std::string examplesText(std::string_view examples) {
  return ".PP\nExamples:\n.PP\n.RS 7\n.nf\n" + escaped(examples) + ".fi\n.RE\n";
}

}  // namespace

std::string manualPage(const CLI::App& app) {
  const std::string version = std::to_string(VARNO_NETWORK_VERSION_MAJOR) + "." +
                              std::to_string(VARNO_NETWORK_VERSION_MINOR) + "." +
                              std::to_string(VARNO_NETWORK_VERSION_PATCH);
  std::string text = ".TH VARNO 1 \"\" \"varno " + version + "\" \"User Commands\"\n" +
                     ".SH NAME\nvarno \\- packets between a phone and a head\\-up display\n" +
                     ".SH SYNOPSIS\n";
  for (const Subcommand& subcommand : subcommands()) {
    const CLI::App* const sub = app.get_subcommand(std::string(subcommand.name));
    text += ".B varno " + escaped(subcommand.name) + "\n[\\fIoptions\\fR]";
    for (const CLI::Option* const option : sub->get_options()) {
      if (!option->get_positional()) continue;
      const std::string name = "\\fI" + escaped(option->get_name(true)) + "\\fR";
      const char* const more = option->get_items_expected_max() > 1 ? "..." : "";
      text += " " + (option->get_required() ? name : "[" + name + more + "]");
    }
    text += "\n.br\n";
  }
  text += ".SH COMMANDS\n";
  for (const Subcommand& subcommand : subcommands()) {
    const CLI::App* const sub = app.get_subcommand(std::string(subcommand.name));
    text += ".SS " + escaped(subcommand.name) + "\n" + escaped(subcommand.summary) + ".\n" +
            optionsText(*sub, true) + optionsText(*sub, false) + examplesText(subcommand.examples);
  }
  text +=
      ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nWhere it is set and not empty, nothing is colored; "
      "nor is what does not go to a terminal.\n";
  text += ".SH EXIT STATUS\n";
  for (const ExitCodeText& code : exitCodes()) {
    text += ".TP\n.B " + std::to_string(code.code) + "\n" + escaped(code.meaning) + ".\n";
  }
  return text;
}

}  // namespace varno::tool
