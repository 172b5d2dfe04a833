// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "inspect/package.h"
#include "qor/commands/command-tree.h"
#include "qor/commands/commands.h"
#include "qor/output/exit-codes.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

// What may stand behind a command.
struct Choices {
  std::string command;                                     // " package install"
  std::vector<std::pair<std::string, std::string>> words;  // with what they mean
  std::string values;                                      // "files", "types" or "packages"
};

std::string ValuesOf(const Command& command) {
  for (const CLI::Option* positional : command.positionals) {
    const std::string name = positional->get_name(true);
    if (name == "TYPE") return "types";
    if (name == "ID") return "packages";
    return "files";
  }
  return "";
}

std::vector<Choices> AllChoices(const CLI::App& tool) {
  std::vector<Choices> all;
  for (const Command& command : CommandsOf(tool)) {
    Choices choices;
    for (const auto& word : command.path) choices.command += " " + word;
    for (const CLI::App* subcommand : command.subcommands) {
      choices.words.emplace_back(subcommand->get_name(), subcommand->get_description());
    }
    for (const CLI::Option* option : command.options) {
      for (const auto& name : option->get_lnames()) {
        choices.words.emplace_back("--" + name, option->get_description());
      }
    }
    choices.values = ValuesOf(command);
    all.push_back(choices);
  }
  return all;
}

std::string OptionsWithValues(const CLI::App& tool) {
  std::set<std::string> names;
  for (const Command& command : CommandsOf(tool)) {
    for (const CLI::Option* option : command.options) {
      if (!TakesValue(*option)) continue;
      for (const auto& name : option->get_lnames()) names.insert("--" + name);
    }
  }
  std::string pattern;
  for (const auto& name : names) pattern += (pattern.empty() ? "" : " | ") + name;
  return pattern;
}

// The part that both shells understand: which command the words before the current one name.
// `words` is the array, `first` the index of the tool's first argument, `current` that of the word.
std::string FindCommand(const CLI::App& tool, const std::string& words, const std::string& first,
                        const std::string& current) {
  std::string pattern;
  for (const Choices& choices : AllChoices(tool)) {
    if (choices.command.empty()) continue;
    pattern += (pattern.empty() ? "" : " | ") + Quoted(choices.command);
  }
  return "  local command= values= i\n"
         "  for ((i = " +
         first + "; i < " + current +
         "; ++i)); do\n"
         "    case \"$command ${" +
         words +
         "[i]}\" in\n"
         "      " +
         pattern + ") command+=\" ${" + words +
         "[i]}\" ;;\n"
         "    esac\n"
         "  done\n";
}

std::string ForBash(const CLI::App& tool) {
  std::string text =
      "# Completion of qor for bash, made by \"qor completion bash\".\n"
      "_qor() {\n"
      "  local current=${COMP_WORDS[COMP_CWORD]} choices= word\n" +
      FindCommand(tool, "COMP_WORDS", "1", "COMP_CWORD") + "  case \"$command\" in\n";
  for (const Choices& choices : AllChoices(tool)) {
    std::string words;
    for (const auto& [word, meaning] : choices.words) words += (words.empty() ? "" : " ") + word;
    text += "    " + Quoted(choices.command) + ") choices=" + Quoted(words) +
            " values=" + Quoted(choices.values) + " ;;\n";
  }
  text += "  esac\n";
  if (const std::string options = OptionsWithValues(tool); !options.empty()) {
    text +=
        "  case \"${COMP_WORDS[COMP_CWORD - 1]}\" in\n"
        "    " +
        options +
        ") choices= values=files ;;\n"
        "  esac\n";
  }
  // Installed words are foreign text: compgen would run what it finds in them.
  return text +
         "  mapfile -t COMPREPLY < <(compgen -W \"$choices\" -- \"$current\")\n"
         "  case \"$values\" in\n"
         "    types | packages)\n"
         "      while IFS= read -r word; do\n"
         "        [[ $word == \"$current\"* ]] && COMPREPLY+=(\"$(printf %q \"$word\")\")\n"
         "      done < <(\"${COMP_WORDS[0]}\" completion \"$values\" 2>/dev/null)\n"
         "      ;;\n"
         "    files)\n"
         "      compopt -o filenames 2>/dev/null\n"
         "      mapfile -t -O \"${#COMPREPLY[@]}\" COMPREPLY < <(compgen -f -- \"$current\")\n"
         "      ;;\n"
         "  esac\n"
         "}\n"
         "complete -F _qor qor\n";
}

std::string ForZsh(const CLI::App& tool) {
  std::string text =
      "#compdef qor\n"
      "# Completion of qor for zsh, made by \"qor completion zsh\".\n"
      "_qor() {\n"
      "  local -a choices\n" +
      FindCommand(tool, "words", "2", "CURRENT") + "  case \"$command\" in\n";
  for (const Choices& choices : AllChoices(tool)) {
    text += "    " + Quoted(choices.command) + ")\n      values=" + choices.values +
            "\n      choices=(\n";
    for (const auto& [word, meaning] : choices.words) {
      text += "        " + Quoted(word + ":" + meaning) + "\n";
    }
    text += "      )\n      ;;\n";
  }
  text += "  esac\n";
  if (const std::string options = OptionsWithValues(tool); !options.empty()) {
    text +=
        "  case \"${words[CURRENT - 1]}\" in\n"
        "    " +
        options +
        ") choices=() values=files ;;\n"
        "  esac\n";
  }
  return text +
         "  _describe qor choices\n"
         "  case \"$values\" in\n"
         "    types | packages) compadd -- ${(f)\"$(\"${words[1]}\" completion \"$values\" "
         "2>/dev/null)\"} ;;\n"
         "    files) _files ;;\n"
         "  esac\n"
         "}\n"
         "# Loaded by name it completes at once, sourced it registers itself.\n"
         "if [ \"${funcstack[1]}\" = _qor ]; then _qor \"$@\"; else compdef _qor qor; fi\n";
}

// One in a line. Those that hold a line end or other control characters are left out.
std::string InstalledWords(bool types) {
  std::set<std::string> words;
  for (const auto& package : inspect::InspectInstalledPackages()) {
    if (!types) words.insert(package.record.id);
    for (const auto& application : package.applications) {
      if (types) words.insert(application.request_types.begin(), application.request_types.end());
    }
  }
  std::string lines;
  for (const auto& word : words) {
    if (text::IsPrintable(word)) lines += word + "\n";
  }
  return lines;
}

std::string Completion(const CLI::App& tool, const std::string& what) {
  if (what == "bash") return ForBash(tool);
  if (what == "zsh") return ForZsh(tool);
  return InstalledWords(what == "types");
}

}  // namespace

void AddCompletionCommand(CLI::App& app, Choice& choice) {
  CLI::App* completion = app.add_subcommand("completion", "Print what shells complete the tool by");
  completion->group("");
  completion->footer("Example:\n  qor completion bash");
  const auto what = std::make_shared<std::string>();
  completion->add_option("WHAT", *what, "A shell's script, or installed words")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "types", "packages"}));
  completion->callback([what, &app, &choice] {
    choice.run = [what, &app] {
      std::cout << Completion(app, *what);
      return static_cast<int>(kSuccess);
    };
  });
}

}  // namespace tools::cli
