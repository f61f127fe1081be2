#include "tools/varno/FileBuffers.h"
#include "tools/varno/Subcommand.h"

#include <VarnoTraffic/PacketDirectory.h>

#include <memory>
#include <string>
#include <vector>

namespace varno::tool {
namespace {

// What stands in "{a,b}" of an option's help: the values that it takes.
std::string valuesOf(const CLI::Option& option) {
  const std::string text = option.get_type_name();
  const std::size_t begin = text.find('{');
  const std::size_t end = text.find('}');
  if (begin == std::string::npos || end == std::string::npos) return {};
  std::string values = text.substr(begin + 1, end - begin - 1);
  for (char& character : values) {
    if (character == ',') character = ' ';
  }
  return values;
}

std::string typeNames() {
  std::string names;
  const PacketDirectory directory;
  for (const auto& entry : directory.entries()) names.append(" ").append(entry.type.name());
  return names.substr(std::min<std::size_t>(1, names.size()));
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

// A case of the option before the word that is completed.
std::string valueCase(const CLI::Option& option) {
  std::string values = valuesOf(option);
  if (option.get_type_name() == "TYPE") values = "$types";
  if (option.get_items_expected_max() == 0) return {};
  std::string names;
  for (const std::string& name : namesOf(option)) names += (names.empty() ? "" : "|") + name;
  return "        " + names + ") values=\"" + values + "\" ;;\n";
}

// What a subcommand completes besides options.
std::string wordsOf(const CLI::App& app) {
  for (const CLI::Option* const option : app.get_options()) {
    if (!option->get_positional()) continue;
    if (std::string values = valuesOf(*option); !values.empty()) return values;
    if (option->get_name(true) == "TYPE" || option->get_name(true) == "PACKET") return "$types";
    return "*files*";
  }
  return {};
}

// The shells' completion is one function, which finds the subcommand on the line: `words` are the
// line's, `word` is completed, `before` stands before it; it sets `candidates`, or `files`.
std::string finder(const CLI::App& app) {
  std::string text = "  local types=\"" + typeNames() + "\"\n  local subcommands=\"";
  std::string cases;
  for (const CLI::App* const sub : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (!text.ends_with('"')) text += ' ';
    text += sub->get_name();
    std::string options;
    std::string values;
    for (const CLI::Option* const option : sub->get_options()) {
      if (!option->nonpositional()) continue;
      for (const std::string& name : namesOf(*option))
        options += (options.empty() ? "" : " ") + name;
      values += valueCase(*option);
    }
    const std::string words = wordsOf(*sub);
    cases += "    " + sub->get_name() + ")\n      options=\"" + options + "\"\n";
    if (words == "*files*") {
      cases += "      files=yes\n";
    } else if (!words.empty()) {
      cases += "      candidates=\"" + words + "\"\n";
    }
    if (!values.empty()) cases += "      case \"$before\" in\n" + values + "      esac\n";
    cases += "      ;;\n";
  }
  text +=
      "\"\n"
      "  local options=\"--help --version\" candidates= files= values=none\n"
      "  case \"$subcommand\" in\n" +
      cases +
      "    *) candidates=$subcommands ;;\n"
      "  esac\n"
      "  if [[ $values != none ]]; then\n"
      "    candidates=$values files=\n"
      "    [[ -n $values ]] || return\n"
      "  elif [[ $word == -* ]]; then\n"
      "    candidates=$options files=\n"
      "  fi\n";
  return text;
}

std::string bashScript(const CLI::App& app) {
  return "# Completion of varno for bash.\n"
         "_varno() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
         "  local subcommand=\n"
         "  ((COMP_CWORD == 1)) || subcommand=${COMP_WORDS[1]}\n"
         "  COMPREPLY=()\n" +
         finder(app) +
         "  if [[ -n $files ]]; then\n"
         "    compopt -o default\n"
         "  else\n"
         "    mapfile -t COMPREPLY < <(compgen -W \"$candidates\" -- \"$word\")\n"
         "  fi\n"
         "}\n"
         "complete -F _varno varno\n";
}

std::string zshScript(const CLI::App& app) {
  return "#compdef varno\n"
         "# Completion of varno for zsh.\n"
         "_varno() {\n"
         "  local word=${words[CURRENT]} before=${words[CURRENT - 1]}\n"
         "  local subcommand=\n"
         "  ((CURRENT == 2)) || subcommand=${words[2]}\n" +
         finder(app) +
         "  if [[ -n $files ]]; then\n"
         "    _files\n"
         "  else\n"
         "    compadd -- ${=candidates}\n"
         "  fi\n"
         "}\n"
         "if [[ ${funcstack[1]:-} == _varno ]]; then\n"
         "  _varno \"$@\"\n"
         "else\n"
         "  compdef _varno varno\n"
         "fi\n";
}

}  // namespace

Run defineCompletion(CLI::App& app) {
  const auto shell = std::make_shared<std::string>();
  app.add_option("SHELL", *shell, "Whose completion it is to be")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh"}))
      ->type_name("SHELL");
  return [shell, whole = app.get_parent()] {
    print(*shell == "bash" ? bashScript(*whole) : zshScript(*whole));
    return 0;
  };
}

}  // namespace varno::tool
