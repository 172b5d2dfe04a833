// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <fstream>

#include "end-to-end-test.h"

namespace end_to_end {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Words = std::vector<std::string>;

class ToolUsage : public EndToEndTest {
 protected:
  // Runs a shell command in which $qor is the tool.
  tools::ProcessResult Shell(const std::string& line) {
    return tools::RunProcess({"sh", "-c", "qor=" + BuildFolder() + "/tools/qor/qor; " + line},
                             kTimeoutSeconds);
  }

  // Expects a usage error of one line.
  void ExpectUsageError(const Words& arguments, const std::string& line) {
    const auto run = Qor(arguments);
    EXPECT_EQ(run.exit_status, 2) << run.output;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "qor: " + line + "\n");
  }
};

TEST_F(ToolUsage, NamesTheNearestCommandOrOption) {
  ExpectUsageError({"sned"}, "unknown command \"sned\": did you mean \"send\"?");
  ExpectUsageError({"package", "shwo", "x"}, "unknown command \"shwo\": did you mean \"show\"?");
  ExpectUsageError({"--verison"}, "unknown option \"--verison\": did you mean \"--version\"?");
  ExpectUsageError({"handlers", "--wathc=1"},
                   "unknown option \"--wathc\": did you mean \"--watch\"?");
  ExpectUsageError({"send", "--paralel", "8", "text.echo"},
                   "unknown option \"--paralel\": did you mean \"--parallel\"?");
  ExpectUsageError({"record", "--formt", "html", "--", "qor"},
                   "unknown option \"--formt\": did you mean \"--format\"?");
  ExpectUsageError({"frobnicate"}, "unknown command \"frobnicate\", see \"qor --help\"");
  ExpectUsageError({"send", "a", "b", "c"}, "unknown argument \"c\", see \"qor send --help\"");
}

TEST_F(ToolUsage, NamesWhatIsMissing) {
  ExpectUsageError({}, "missing command, see \"qor --help\"");
  ExpectUsageError({"package"}, "missing command, see \"qor package --help\"");
  ExpectUsageError({"package", "install"}, "PATH is required, see \"qor package install --help\"");
  ExpectUsageError({"send"}, "TYPE is required, see \"qor send --help\"");
}

TEST_F(ToolUsage, NamesTheRangeOfANumber) {
  for (const char* number : {"0", "-1", "abc", "1x", "99999999999"}) {
    ExpectUsageError({"send", "text.echo", "--count", number},
                     std::string("--count: not a whole number from 1 to 2147483647: ") + number +
                         ", see \"qor send --help\"");
  }
}

TEST_F(ToolUsage, PrintsItsVersion) {
  EXPECT_EQ(Qor({"--version"}).output, "qor " QOR_VERSION "\n");
}

TEST_F(ToolUsage, PrintsFailuresAsJsonOnStandardOutputOnly) {
  for (const auto& [arguments, status, text] :
       {std::tuple<Words, int, std::string>{
            {"handlers", "--json", "--wathc"}, 2, R"({"error":{"message":"unknown option)"},
        {{"package", "install", "/no/such", "--json"}, 1, R"({"error":{"message":"no such file)"},
        {{"package", "show", "org.example.nobody", "--json"}, 1, R"({"error":{"message":"package)"},
        {{"check", "--json", "/no/such"}, 2, R"({"error":{"message":"PACKAGE: )"}}) {
    const auto run = Qor(arguments);
    EXPECT_EQ(run.exit_status, status);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.output, StartsWith(text));
    EXPECT_THAT(run.output, EndsWith("\"exitCode\":" + std::to_string(status) + "}}\n"));
  }
}

TEST_F(ToolUsage, ReportsFailedWrites) {
  Install("text");
  for (const char* command :
       {"--help", "--version", "man", "completion bash", "doctor", "doctor --json", "handlers",
        "handlers --json", "handlers --watch", "package list", "package list --json",
        "package show org.example.text", "explain text.echo", "send text.echo 1",
        "send text.echo 1 --json"}) {
    const auto run = Shell(std::string("$qor ") + command + " >/dev/full");
    EXPECT_EQ(run.exit_status, 1) << command;
    EXPECT_THAT(run.errors,
                HasSubstr("qor: cannot write standard output: No space left on device\n"))
        << command;
  }
}

TEST_F(ToolUsage, WritesEscapeSequencesToTerminalsOnly) {
  Install("text");
  for (const char* command : {"doctor", "explain no.such.type", "send text.echo 1 --count 3"}) {
    const std::string run = std::string("\"$qor ") + command + "\"";
    EXPECT_EQ(Shell("eval " + run + " 2>&1").output.find('\033'), std::string::npos) << command;
    EXPECT_THAT(Shell("TERM=xterm script -qec " + run + " /dev/null").output, HasSubstr("\033["))
        << command;
    for (const char* plain : {"NO_COLOR=1 TERM=xterm", "TERM=dumb"}) {
      const auto shown = Shell(std::string(plain) + " script -qec " + run + " /dev/null");
      EXPECT_EQ(shown.output.find('\033'), std::string::npos) << command << shown.output;
    }
  }
}

}  // namespace
}  // namespace end_to_end
