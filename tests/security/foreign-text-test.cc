// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Packages and handlers with texts that control terminals or forge lines.

#include <rapidjson/document.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "end-to-end-test.h"
#include "example-copy.h"
#include "text/printable.h"

namespace security {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

// Clears the screen, forges a line, reorders text; contains C1 as a character and as a byte.
constexpr char kHostile[] =
    "evil\033[2J\a\r\nFORGED \u009b31m\u0085\u202edrow\u2066\u2069\u200f\u061c\u2028\u2029\x7f\x9b";

class ForeignText : public end_to_end::EndToEndTest {
 protected:
  ForeignText() : copy_(Packages() + "/text", Root() + "/hostile"), path_(copy_.Path()) {
    // Colors in the output would be the tool's own control characters.
    setenv("NO_COLOR", "1", 1);
    setenv("DLOG_FILTER", "*:D", 1);
    const std::string in_xml =
        "evil&#27;[2J&#7;&#13;&#10;FORGED &#x9b;31m&#x85;&#x202e;drow&#x2028;&#x7f;";
    copy_.Replace("exec=\"text-handler\"", "exec=\"" + in_xml + "\"");
    copy_.Replace("value=\"10\"/>", "value=\"" + in_xml + "\"/><metadata key=\"" + in_xml +
                                        "\" value=\"" + in_xml + "\"/>");
    copy_.Replace("<privileges>", "<privileges><privilege>" + in_xml + "</privilege>");
    copy_.Write("res/handler.yaml",
                "request-types: [text.echo, two words, \"" + InYaml() + "\", '$(touch evil)']\n");
    fs::rename(path_ + "/bin/text-handler",
               path_ + "/bin/evil\033[2J\a\r\nFORGED \u009b31m\u0085\u202edrow\u2028\x7f");
    const auto run = Tool({"package", "install", path_});
    EXPECT_EQ(run.exit_status, 0) << run.errors;
  }
  ~ForeignText() override {
    unsetenv("NO_COLOR");
    unsetenv("DLOG_FILTER");
  }

  // The hostile request type, without the last byte: YAML must be UTF-8.
  static std::string Type() { return std::string(kHostile, sizeof kHostile - 2); }
  static std::string InYaml() {
    return R"(evil\e[2J\a\r\nFORGED \x9b31m\x85\u202edrow\u2066\u2069\u200f\u061c\u2028\u2029\x7f)";
  }

  tools::ProcessResult Tool(const Arguments& arguments, const std::string& input = "") {
    return Shell(Command(arguments) + InputOf(input));
  }
  // On a terminal, which also receives standard error.
  tools::ProcessResult RunOnTerminal(const Arguments& arguments, const std::string& input = "") {
    return Shell("script -qec " + tools::ShellQuote(Command(arguments) + InputOf(input)) +
                 " /dev/null");
  }

  void ExpectPrintable(const Arguments& arguments, const std::string& input = "") {
    for (const auto& run : {Tool(arguments, input), RunOnTerminal(arguments, input)}) {
      ExpectPrintable(run.output, arguments);
      ExpectPrintable(run.errors, arguments);
    }
  }
  static void ExpectPrintable(std::string output, const Arguments& arguments) {
    // The library's own colors, and the carriage returns added by the terminal.
    for (const char* own : {"\033[0;36m", "\033[0;32m", "\033[0;31m", "\033[0;m", "\r"}) {
      for (auto at = output.find(own); at != std::string::npos; at = output.find(own, at)) {
        output.erase(at, std::string_view(own).size());
      }
    }
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_TRUE(text::IsPrintable(line)) << arguments[0] << ": " << text::Printable(line);
      EXPECT_NE(line.rfind("FORGED", 0), 0u) << arguments[0] << ": " << line;
    }
  }

  // Expects each line of the text to be JSON in UTF-8.
  static void ExpectJsonLines(const std::string& text, const Arguments& arguments) {
    EXPECT_NE(text, "") << arguments[0];
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      rapidjson::Document document;
      document.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag>(
          line.data(), line.size());
      EXPECT_FALSE(document.HasParseError()) << arguments[0] << ": " << text::Printable(line);
    }
  }

  const std::string& PackagePath() const { return path_; }

 private:
  static std::string Command(const Arguments& arguments) {
    std::string command = BuildFolder() + "/tools/qor/qor";
    for (const auto& word : arguments) command += " " + tools::ShellQuote(word);
    return command;
  }
  std::string InputOf(const std::string& input) const {
    std::ofstream(Root() + "/input", std::ios::binary) << input;
    return " <" + Root() + "/input";
  }
  tools::ProcessResult Shell(const std::string& line) const {
    return tools::RunProcess({"bash", "-c", "cd " + Root() + "; " + line},
                             end_to_end::kTimeoutSeconds);
  }

  const end_to_end::ExampleCopy copy_;
  const std::string path_;
};

TEST_F(ForeignText, IsEscapedOnTerminal) {
  const std::string type = Type();
  ExpectPrintable({"package", "list"});
  ExpectPrintable({"package", "show", "org.example.text"});
  ExpectPrintable({"package", "show", kHostile});
  ExpectPrintable({"package", "install", kHostile});
  ExpectPrintable({"package", "update", PackagePath()});
  ExpectPrintable({"check", PackagePath()});
  ExpectPrintable({"check", "--run", "--skip", kHostile, PackagePath()});
  ExpectPrintable({"explain", type});
  ExpectPrintable({"explain", kHostile});
  ExpectPrintable({"handlers"});
  ExpectPrintable({"doctor"});
  ExpectPrintable({"completion", "types"});
  ExpectPrintable({"completion", "packages"});
  // The error of the handler contains the type.
  ExpectPrintable({"send", type, "1"});
  ExpectPrintable({"send", kHostile, kHostile});
  ExpectPrintable({"send", "text.echo", kHostile, "--strict"});
  ExpectPrintable({"record", "--", BuildFolder() + "/tools/qor/qor", "send", type, kHostile});
  ExpectPrintable({"agent"}, std::string(kHostile) + "\n{\"type\":\"" + kHostile + "\"}\n");
}

TEST_F(ForeignText, IsNotExecutedByCheckRun) {
  ExpectPrintable({"check", "--run", PackagePath()});
  EXPECT_FALSE(fs::exists(Root() + "/evil"));
}

TEST_F(ForeignText, ResultIsRawInPipesAndOnRequest) {
  setenv("DLOG_FILTER", "*:S", 1);
  Install("misbehaving");
  // The handler appends the byte that a payload must not contain.
  const std::string result = std::string(kHostile) + "\n";
  EXPECT_EQ(Tool({"send", "misbehaving.utf-8", Type()}).output, result);
  EXPECT_NE(RunOnTerminal({"send", "--raw", "misbehaving.utf-8", Type()}).output.find("\033[2J"),
            std::string::npos);
  const std::string shown = RunOnTerminal({"send", "misbehaving.utf-8", Type()}).output;
  EXPECT_NE(shown.find("evil\\x1b[2J\\x07\\r\\nFORGED"), std::string::npos) << shown;
}

TEST_F(ForeignText, IsValidAndPrintableInJson) {
  setenv("DLOG_FILTER", "*:S", 1);
  Install("misbehaving");
  const std::string type = Type();
  const std::string lines = R"({"type":"text.echo","uuid":"\u001b\u009b\u202e","payload":1})"
                            "\n{\"handlers\":true}\n{\"" +
                            std::string(kHostile) + "\n";
  const Arguments commands[] = {{"package", "list", "--json"},
                                {"package", "show", "--json", "org.example.text"},
                                {"check", "--json", PackagePath()},
                                {"explain", "--json", type},
                                {"explain", "--json", kHostile},
                                {"handlers", "--json"},
                                {"doctor", "--json"},
                                {"send", "--json", type, "1"},
                                {"send", "--json", "misbehaving.utf-8", type},
                                {"send", "--json", "--uuid", kHostile, "text.echo", "1"},
                                {"agent"}};
  for (const Arguments& arguments : commands) {
    const auto run = Tool(arguments, lines);
    ExpectJsonLines(run.output, arguments);
    ExpectPrintable(run.output, arguments);
  }
  const auto failed = Tool({"package", "show", "--json", kHostile});
  ExpectJsonLines(failed.output, {"failure"});
  ExpectPrintable(failed.output, {"failure"});

  const std::string file = Root() + "/record.json";
  Tool({"record", "--format", "json", "-o", file, "--", BuildFolder() + "/tools/qor/qor", "send",
        "--uuid", type, "misbehaving.utf-8", type});
  for (const char* format : {"json", "trace", "html", "text"}) {
    const Arguments arguments = {"record", "--format", format, "--from", file};
    const auto run = Tool(arguments);
    ExpectPrintable(run.output, arguments);
    if (format[0] == 'j' || format[1] == 'r') ExpectJsonLines(run.output, {format});
  }
}

TEST_F(ForeignText, RequestTypeWithControlCharactersIsReportedByCheck) {
  const auto run = Tool({"check", PackagePath()});
  EXPECT_NE(run.output.find("contains control characters or invalid UTF-8"), std::string::npos)
      << run.output;
}

TEST_F(ForeignText, CompletionOffersOneWordPerLine) {
  EXPECT_EQ(Tool({"completion", "types"}).output, "$(touch evil)\ntext.echo\ntwo words\n");
}

}  // namespace
}  // namespace security
