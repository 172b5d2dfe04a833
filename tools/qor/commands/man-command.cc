// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <sstream>
#include <string>

#include "qor/commands/command-tree.h"
#include "qor/commands/commands.h"
#include "qor/output/exit-codes.h"

namespace tools::cli {

namespace {

struct Variable {
  const char* name;
  const char* meaning;
};

constexpr Variable kEnvironment[] = {
    {"QOR_PLATFORM_ROOT",
     "The root folder: everything that is installed or written stays in it. Without it the folder "
     "is $XDG_DATA_HOME/qor-platform or ~/.local/share/qor-platform."},
    {"DLOG_FILTER", "Which log lines are written, as in \"QOR-HANDLER-MANAGER-API:D *:W\"."},
    {"DLOG_FILE", "The file to which log lines go instead of standard error."},
    {"NO_COLOR", "When it is set and not empty, nothing is coloured."},
};

// Text that stands for itself.
std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  return !escaped.empty() && (escaped[0] == '.' || escaped[0] == '\'') ? "\\&" + escaped : escaped;
}

std::string Bold(const std::string& text) { return "\\fB" + Escaped(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Escaped(text) + "\\fR"; }

std::string NameOf(const Command& command) {
  std::string name = "qor";
  for (const auto& word : command.path) name += " " + word;
  return name;
}

std::string Item(const std::string& term, const std::string& meaning) {
  return ".TP\n" + term + "\n" + Escaped(meaning) + "\n";
}

std::string OptionTerm(const CLI::Option& option) {
  std::string term;
  for (const auto& name : option.get_snames())
    term += (term.empty() ? "" : ", ") + Bold("-" + name);
  for (const auto& name : option.get_lnames()) {
    term += (term.empty() ? "" : ", ") + Bold("--" + name);
  }
  return TakesValue(option) ? term + " " + Italic(option.get_type_name()) : term;
}

// Examples and whatever else the help ends with, as it is.
std::string FooterOf(const CLI::App& app) {
  std::istringstream footer(app.get_footer());
  std::string text;
  for (std::string line; std::getline(footer, line);) text += Escaped(line) + "\n";
  return text.empty() ? "" : ".PP\n.EX\n" + text + ".EE\n";
}

std::string Section(const Command& command) {
  std::string synopsis = Bold(NameOf(command));
  for (const CLI::Option* positional : command.positionals) {
    const std::string name = Italic(positional->get_name(true));
    synopsis += positional->get_required() ? " " + name : " [" + name + "]";
  }
  if (!command.options.empty()) synopsis += " [" + Italic("options") + "]";
  std::string text = ".SS " + Escaped(NameOf(command)) + "\n" + synopsis + "\n.PP\n" +
                     Escaped(command.app->get_description()) + ".\n";
  for (const CLI::Option* positional : command.positionals) {
    text += Item(Italic(positional->get_name(true)), positional->get_description());
  }
  for (const CLI::Option* option : command.options) {
    std::string meaning = option->get_description();
    if (!option->get_default_str().empty()) meaning += " (" + option->get_default_str() + ")";
    text += Item(OptionTerm(*option), meaning);
  }
  return text + FooterOf(*command.app);
}

std::string ManualPage(const CLI::App& tool) {
  std::string text =
      ".\\\" Made by \"qor man\".\n"
      ".TH QOR 1 \"\" \"qor\" \"User Commands\"\n"
      ".SH NAME\nqor \\- " +
      Escaped(tool.get_description()) + "\n.SH SYNOPSIS\n" + Bold("qor") + " " + Italic("command") +
      " [" + Italic("arguments") + "]\n.SH COMMANDS\n";
  for (const Command& command : CommandsOf(tool)) {
    if (command.subcommands.empty()) text += Section(command);
  }
  text += ".SH EXIT STATUS\n";
  for (const auto& entry : kExitCodeMeanings) {
    text += Item(Bold(std::to_string(entry.code)), entry.meaning);
  }
  text += ".SH ENVIRONMENT\n";
  for (const auto& variable : kEnvironment) text += Item(Bold(variable.name), variable.meaning);
  return text;
}

}  // namespace

void AddManCommand(CLI::App& app, Choice& choice) {
  CLI::App* man = app.add_subcommand("man", "Print the manual page");
  man->group("");
  man->footer("Example:\n  qor man");
  man->callback([&app, &choice] {
    choice.run = [&app] {
      std::cout << ManualPage(app);
      return static_cast<int>(kSuccess);
    };
  });
}

}  // namespace tools::cli
