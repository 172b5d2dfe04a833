// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "end-to-end-test.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using Words = std::vector<std::string>;

Words LinesOf(const std::string& text) {
  Words lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

class ToolHelp : public EndToEndTest {
 protected:
  // All commands in help texts.
  std::vector<Words> Commands() {
    std::vector<Words> commands = {{}};
    for (std::size_t i = 0; i < commands.size(); ++i) {
      bool in_list = false;
      for (const auto& line : LinesOf(Help(commands[i]))) {
        std::istringstream words(line);
        std::string name;
        if (line == "Subcommands:") {
          in_list = true;
        } else if (line.rfind("  ", 0) != 0) {
          in_list = false;
        } else if (in_list && line[2] != ' ' && words >> name) {
          Words command = commands[i];
          command.push_back(name);
          commands.push_back(command);
        }
      }
    }
    return commands;
  }

  std::string Help(Words command) {
    command.push_back("--help");
    const auto run = Qor(command);
    EXPECT_EQ(run.exit_status, 0) << run.errors;
    return run.output;
  }

  static Words ExamplesIn(const std::string& help) {
    Words examples;
    bool in_list = false;
    for (const auto& line : LinesOf(help)) {
      if (line.rfind("Example", 0) == 0) {
        in_list = true;
      } else if (line.rfind("  ", 0) != 0) {
        in_list = false;
      } else if (in_list) {
        examples.push_back(line.substr(2));
      }
    }
    return examples;
  }

  // Runs a shell command with `qor` in PATH and the example packages in build/packages.
  tools::ProcessResult Shell(const std::string& shell, const std::string& line) {
    fs::create_directories(Root() + "/desk/build");
    if (!fs::exists(Root() + "/desk/build/packages")) {
      fs::create_symlink(Packages(), Root() + "/desk/build/packages");
    }
    return tools::RunProcess(
        {shell, "-c",
         "cd " + Root() + "/desk; PATH=" + BuildFolder() + "/tools/qor:$PATH\n" + line},
        kTimeoutSeconds);
  }

  std::string Share(const std::string& file) { return BuildFolder() + "/share/" + file; }

  // Returns the completions of the last word in bash.
  std::string Bash(const std::string& words) {
    return Shell("bash", "source " + Share("bash-completion/completions/qor") + "; COMP_WORDS=(" +
                             words +
                             "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _qor; "
                             "printf '%s\\n' \"${COMPREPLY[@]}\"")
        .output;
  }
  // The same in zsh; stubs of its helper functions print their arguments.
  std::string Zsh(const std::string& words) {
    const auto run = Shell(
        "zsh",
        "compdef() {}; _describe() { print -l -- \"${(@P)2}\" }; "
        "_files() { print files }; compadd() { shift; print -l -- \"$@\" }; source " +
            Share("zsh/site-functions/_qor") + "; words=(" + words + "); CURRENT=$#words; _qor");
    EXPECT_EQ(run.errors, "");
    return run.output;
  }
};

TEST_F(ToolHelp, HasAValidExampleForEveryCommand) {
  Install("text");
  std::size_t examples = 0;
  for (const auto& command : Commands()) {
    const auto lines = ExamplesIn(Help(command));
    EXPECT_FALSE(lines.empty()) << Help(command);
    for (const auto& line : lines) {
      ++examples;
      // An agent would not exit; only the arguments are checked.
      const auto run = Shell("bash", "timeout -s INT -k 10 5 " + line + " </dev/null");
      EXPECT_NE(run.exit_status, 2) << line << "\n" << run.errors;
      EXPECT_NE(run.exit_status, 127) << line << "\n" << run.errors;
    }
  }
  EXPECT_GE(examples, 11u);
}

TEST_F(ToolHelp, ListsTheExitStatuses) {
  EXPECT_THAT(Help({}), HasSubstr("\nExit status:\n  0  success\n"));
  EXPECT_THAT(Help({}), HasSubstr("\n  5  no handler serves the request type\n"));
}

TEST_F(ToolHelp, IsInTheManualPageForEveryCommand) {
  const std::string page = Share("man/man1/qor.1");
  std::ostringstream text;
  text << std::ifstream(page).rdbuf();
  EXPECT_EQ(text.str(), Qor({"man"}).output);
  for (const auto& command : Commands()) {
    if (command.empty()) continue;
    std::string name = "qor";
    for (const auto& word : command) name += " " + word;
    EXPECT_THAT(text.str(), HasSubstr("fB" + name)) << name;
  }
  EXPECT_THAT(text.str(), HasSubstr(".SH EXIT STATUS\n"));
  const auto run =
      tools::RunProcess({"groff", "-man", "-Tutf8", "-ww", "-z", page}, kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.errors, "");
}

TEST_F(ToolHelp, CompletesInBash) {
  Install("text");
  EXPECT_EQ(Bash("qor hand"), "handlers\n");
  EXPECT_EQ(Bash("qor package ins"), "install\n");
  EXPECT_EQ(Bash("qor handlers --w"), "--watch\n");
  EXPECT_EQ(Bash("qor package install bui"), "build\n");
  EXPECT_EQ(Bash("qor explain text.u"), "text.upper\n");
  EXPECT_EQ(Bash("qor package show org"), "org.example.text\n");
  EXPECT_THAT(Bash("qor ''"), testing::AllOf(HasSubstr("doctor\n"), HasSubstr("completion\n")));
}

TEST_F(ToolHelp, DoesNotExecuteRequestTypesInCompletion) {
  Install("text");
  for (const auto& entry : fs::recursive_directory_iterator(Root() + "/packages")) {
    if (entry.path().filename() != "handler.yaml") continue;
    std::ofstream(entry.path()) << "request-types: ['$(touch evil)', 'two words']\n";
  }
  EXPECT_EQ(Bash("qor explain tw"), "two\\ words\n");
  Bash("qor explain ''");
  EXPECT_FALSE(fs::exists(Root() + "/desk/evil"));
}

TEST_F(ToolHelp, CompletesInZsh) {
  Install("text");
  EXPECT_THAT(Zsh("qor ''"), HasSubstr("doctor:check the root folder for errors;"));
  EXPECT_THAT(Zsh("qor package ''"), HasSubstr("install:install or update a package\n"));
  EXPECT_THAT(Zsh("qor package install ''"), HasSubstr("files\n"));
  EXPECT_THAT(Zsh("qor explain ''"), HasSubstr("\ntext.upper\n"));
  EXPECT_THAT(Zsh("qor package show ''"), HasSubstr("\norg.example.text\n"));
}

}  // namespace
}  // namespace end_to_end
