// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

#include "end-to-end-test.h"
#include "live-process.h"

namespace end_to_end {
namespace {

class Send : public EndToEndTest {
 protected:
  static std::string Tool() { return BuildFolder() + "/tools/qor/qor"; }

  // Runs a shell command; $qor is the tool.
  static tools::ProcessResult Shell(const std::string& command) {
    return tools::RunProcess({"bash", "-c", "qor='" + Tool() + "'; " + command}, kTimeoutSeconds);
  }

  std::string WriteFile(const std::string& name, const std::string& content) const {
    const std::string path = Root() + "/" + name;
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  // The command is never answered; the log shows when it was sent.
  static std::vector<std::string> EndlessSend() {
    return {"env",         "DLOG_FILTER=QOR-HANDLER-MANAGER-API:I",
            Tool(),        "send",
            "text.forget", "--execution-timeout",
            "100000"};
  }
};

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

long CountLines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

TEST_F(Send, ReadsThePayloadFromAFile) {
  Install("text");
  const std::string file = WriteFile("payload.json", "{\"a\":\n [1, 2]}\n");
  const auto run = Qor({"send", "text.echo", "@" + file});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "{\"a\":\n [1, 2]}\n\n");
  EXPECT_EQ(run.errors, "");
}

TEST_F(Send, ReadsThePayloadFromStandardInput) {
  Install("text");
  const auto run = Shell("printf '{\"a\":1}' | $qor send text.echo -");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "{\"a\":1}\n");
}

// Otherwise a reader of the tool's output would wait for the handler, which keeps running.
TEST_F(Send, ClosesInheritedOutputsInTheHandler) {
  Install("text");
  const auto run = Shell("$qor send text.echo '\"x\"' 2>&1 | cat");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "\"x\"\n");
}

TEST_F(Send, RejectsAPayloadThatCannotBeDelivered) {
  Install("text");
  const std::string longest = "\"" + std::string(4'000'000 - 2, 'x') + "\"";
  const auto delivered = Qor({"send", "text.reject", "@" + WriteFile("longest.json", longest)});
  EXPECT_EQ(delivered.exit_status, 3) << delivered.errors;
  const std::string file = WriteFile("payload.json", longest + " ");
  const auto run = Qor({"send", "text.reject", "@" + file});
  EXPECT_EQ(run.exit_status, 2) << run.errors;
  EXPECT_EQ(run.errors, "qor: " + file +
                            ": payload of 4000001 bytes (at most 4000000 can be delivered)\n"
                            "  pass large data in a file\n");
}

TEST_F(Send, RejectsAPayloadThatIsNotUtf8) {
  const auto run = Qor({"send", "text.echo", "@" + WriteFile("payload", "\"\xff\"")});
  EXPECT_EQ(run.exit_status, 2) << run.errors;
  EXPECT_TRUE(Holds(run.errors, "payload is not valid UTF-8")) << run.errors;
}

TEST_F(Send, NamesTheLimitsOfTexts) {
  const auto run = Qor({"send", std::string(4097, 't')});
  EXPECT_EQ(run.exit_status, 1) << run.errors;
  EXPECT_EQ(
      run.errors,
      "qor: command rejected: text too long (at most 256 bytes of uuid, 4096 of request type, "
      "4000000 of payload)\n");
}

TEST_F(Send, WarnsAboutAPayloadThatIsNotJsonAndSendsIt) {
  Install("text");
  const auto run = Qor({"send", "text.echo", "{\"\xC3\xA4\":x}"});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(run.output, "{\"\xC3\xA4\":x}\n");
  EXPECT_EQ(run.errors, "qor: warning: payload is not JSON: Invalid value (line 1, column 6)\n");
}

TEST_F(Send, RejectsAPayloadThatIsNotJsonWhenStrict) {
  Install("text");
  const std::string file = WriteFile("payload.json", "{\n  \"a\": 1,\n  b: 2\n}");
  const auto run = Qor({"send", "--strict", "text.echo", "@" + file});
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_EQ(run.output, "");
  EXPECT_TRUE(Holds(run.errors, "qor: " + file + ":3: payload is not JSON: ")) << run.errors;
  EXPECT_TRUE(Holds(run.errors, "(line 3, column 3)")) << run.errors;
  EXPECT_EQ(Qor({"send", "--strict", "text.echo", "{}"}).exit_status, 0);
}

TEST_F(Send, ReportsAPayloadFileThatCannotBeRead) {
  for (const std::string& file : {Root() + "/nothing.json", Root()}) {
    const auto run = Qor({"send", "text.echo", "@" + file});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_EQ(run.errors.find("qor: " + file + ": cannot read the payload: "), 0U) << run.errors;
  }
}

TEST_F(Send, RejectsAPayloadWithANulByte) {
  const auto run = Shell("printf '{}\\0{}' | $qor send text.echo -");
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_TRUE(Holds(run.errors, "standard input: payload contains a NUL byte at byte 3"))
      << run.errors;
}

TEST_F(Send, PrintsResultsAndASummaryOfSeveralCommands) {
  Install("text");
  const auto run = Qor({"send", "text.echo", "7", "--count", "50", "--parallel", "8"});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_EQ(CountLines(run.output), 50);
  EXPECT_EQ(run.errors.find("50 commands: 50 succeeded\nlatency in ms: min "), 0U) << run.errors;
  for (const char* figure : {"median ", "p90 ", "p99 ", "max "})
    EXPECT_TRUE(Holds(run.errors, figure)) << run.errors;
}

TEST_F(Send, SendsSequentiallyByDefault) {
  Install("text");
  const auto start = std::chrono::steady_clock::now();
  const auto run = Qor({"send", "text.delay", "0.3", "--count", "4"});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4 * 290));
}

TEST_F(Send, PrintsJsonLinesAndASummaryObject) {
  Install("text");
  const auto run = Qor({"send", "text.echo", "{ \"a\": [1, \"b c\"] }", "--count", "2", "--json"});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  ASSERT_EQ(CountLines(run.output), 3) << run.output;
  EXPECT_TRUE(Holds(run.output,
                    R"("outcome":"succeeded","status":0,"result":{"a":[1,"b c"]},"latencyMs":)"))
      << run.output;
  const auto summary = run.output.find(R"({"summary":{"commands":2,"outcomes":{"succeeded":2},)"
                                       R"("latencyMs":{"answers":2,"min":)");
  EXPECT_NE(summary, std::string::npos) << run.output;
  EXPECT_EQ(CountLines(run.output.substr(summary)), 1);
}

TEST_F(Send, PrintsErrorsAsJsonOnStandardOutput) {
  Install("text");
  const auto failed = Qor({"send", "text.reject", "--json", "--uuid", "mine"});
  EXPECT_EQ(failed.exit_status, 3);
  EXPECT_EQ(failed.output.find(R"({"uuid":"mine","outcome":"failed","status":1,"error":)"
                               R"({"ErrorCode":42,"ErrorDescription":"this handler refuses"},)"),
            0U)
      << failed.output;
  const auto unknown = Qor({"send", "no.such.type", "--json", "--uuid", "mine"});
  EXPECT_EQ(unknown.exit_status, 5);
  EXPECT_EQ(unknown.output.find(R"({"uuid":"mine","outcome":"not-delivered","reason":"no-handler",)"
                                R"("error":"no handler serves no.such.type")"),
            0U)
      << unknown.output;
}

TEST_F(Send, PrintsUsageErrorsAsJson) {
  const auto run = Qor({"send", "--json", "text.echo", "@" + Root() + "/nothing.json"});
  EXPECT_EQ(run.exit_status, 2);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output.find(R"({"error":{"message":"cannot read the payload: )"), 0U) << run.output;
}

TEST_F(Send, RejectsOneUuidForSeveralCommands) {
  for (const std::vector<std::string>& many :
       {std::vector<std::string>{"--count", "2"}, {"--repeat", "1"}}) {
    std::vector<std::string> arguments = {"send", "text.echo", "1", "--uuid", "mine"};
    arguments.insert(arguments.end(), many.begin(), many.end());
    const auto run = Qor(arguments);
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_TRUE(Holds(run.errors, "--uuid")) << run.errors;
  }
}

TEST_F(Send, RejectsInvalidNumbers) {
  for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--count", "0"},
                                                {"--parallel", "0"},
                                                {"--repeat", "0"},
                                                {"--repeat", "nan"},
                                                {"--deadline", "0"},
                                                {"--deadline", "nan"},
                                                {"--deadline", "1e10"},
                                                {"--policy", "once"},
                                                {"--execution-timeout", "-1"},
                                                {"--count", "x"}}) {
    std::vector<std::string> arguments = {"send", "text.echo", "1"};
    arguments.insert(arguments.end(), wrong.begin(), wrong.end());
    EXPECT_EQ(Qor(arguments).exit_status, 2) << wrong[0];
  }
}

TEST_F(Send, EndsCommandsThatLostTheirTimers) {
  Install("text");
  const auto run = Qor({"send", "text.forget", "--count", "5", "--parallel", "5",
                        "--execution-timeout", "200", "--connection-timeout", "3000"});
  EXPECT_EQ(run.exit_status, 4);
  EXPECT_TRUE(Holds(run.errors, "\n5 commands: 5 unknown\n")) << run.errors;
}

TEST_F(Send, SaysWhatToDoWithoutAnAnswer) {
  Install("text");
  const auto run = Qor({"send", "text.forget", "--deadline", "2"});
  EXPECT_EQ(run.exit_status, 4);
  EXPECT_EQ(run.errors,
            "qor: no answer by the deadline: text.forget may have been executed\n"
            "  \"qor explain text.forget\" names the handler; \"qor record\" shows what it "
            "received\n");
}

TEST_F(Send, SaysWhatToDoWhenTheHandlerDoesNotConnect) {
  Install("silent");
  const auto run = Qor({"send", "silence.keep", "--connection-timeout", "500"});
  EXPECT_EQ(run.exit_status, 4);
  EXPECT_EQ(run.errors,
            "qor: the handler of silence.keep was launched and did not connect\n"
            "  \"qor explain silence.keep\" names it, \"qor logs\" prints its output\n");
}

TEST_F(Send, SaysWhatToDoWhenTheHandlerCannotBeLaunched) {
  Install("text");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(Root() + "/packages")) {
    if (entry.path().filename() == "text-handler") std::filesystem::remove(entry.path());
  }
  const auto run = Qor({"send", "text.echo", "1", "--deadline", "0.5"});
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_TRUE(Holds(run.errors,
                    "\nqor: the handler of text.echo could not be launched\n"
                    "  \"qor doctor\" checks its executable\n"))
      << run.errors;
}

TEST_F(Send, SendsAgainWhatMayHaveBeenDeliveredOnlyWhenAtLeastOnce) {
  Install("text");
  const auto deliveries = [this](const std::string& options) {
    const auto run = Shell(
        "DLOG_FILTER=QOR-HANDLER-MANAGER-API:I $qor send text.forget "
        "--execution-timeout 300 --deadline 4 " +
        options);
    EXPECT_EQ(run.exit_status, 4) << run.errors;
    int count = 0;
    for (auto at = run.errors.find("SendCommand ["); at != std::string::npos;
         at = run.errors.find("SendCommand [", at + 1)) {
      ++count;
    }
    return count;
  };
  EXPECT_EQ(deliveries(""), 1);
  EXPECT_GE(deliveries("--policy at-least-once"), 2);
}

TEST_F(Send, WaitsForGrantedExtensions) {
  Install("text");
  // Longer than both timeouts.
  const auto run =
      Qor({"send", "text.slow", "4", "--execution-timeout", "500", "--connection-timeout", "2500"});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
}

TEST_F(Send, RepeatsUntilInterruptedAndPrintsASummary) {
  Install("text");
  LiveProcess tool(
      {Tool(), "send", "text.echo", "1", "--count", "2", "--repeat", "0.01", "--json"});
  ASSERT_TRUE(tools::RunUntil([&] { return CountLines(tool.Output()) >= 6; }, kTimeoutSeconds));
  tool.Interrupt();
  EXPECT_EQ(tool.AwaitEnd(), 130);
  EXPECT_TRUE(Holds(tool.Output(), R"({"summary":{"commands":)")) << tool.Output();
}

TEST_F(Send, CountsPendingCommandsWhenInterrupted) {
  Install("text");
  LiveProcess tool(EndlessSend());
  ASSERT_TRUE(tool.AwaitErrors("SendCommand [")) << tool.Errors();
  tool.Interrupt();
  EXPECT_EQ(tool.AwaitEnd(), 130);
  EXPECT_TRUE(Holds(tool.Errors(), "1 command: 1 interrupted\n")) << tool.Errors();
}

TEST_F(Send, ExitsCleanlyOnSigterm) {
  Install("text");
  std::vector<std::string> arguments = EndlessSend();
  arguments.emplace_back("--json");
  LiveProcess tool(arguments);
  ASSERT_TRUE(tool.AwaitErrors("SendCommand [")) << tool.Errors();
  tool.Terminate();
  EXPECT_EQ(tool.AwaitEnd(), 143);
  EXPECT_EQ(tool.Output(), "{\"summary\":{\"commands\":1,\"outcomes\":{\"interrupted\":1}}}\n");
}

TEST_F(Send, ShowsAProgressBarOnATerminalOnly) {
  Install("text");
  const std::string arguments = " send text.echo 1 --count 3";
  const auto on = Shell("script -qec \"$qor" + arguments + " >/dev/null\" /dev/null");
  EXPECT_EQ(on.exit_status, 0);
  EXPECT_TRUE(Holds(on.output, "] 1/3")) << on.output;
  EXPECT_TRUE(Holds(on.output, "\x1b[K3 commands: 3 succeeded")) << on.output;
  const auto json = Shell("script -qec \"$qor" + arguments + " --json\" /dev/null");
  EXPECT_FALSE(Holds(json.output, "1/3")) << json.output;
  const auto off = Shell("$qor" + arguments);
  EXPECT_FALSE(Holds(off.errors, "1/3")) << off.errors;
}

TEST_F(Send, ExitsWithAnErrorWhenTheOutputIsClosed) {
  Install("text");
  const auto run =
      Shell("$qor send text.echo 1 --repeat 0.01 | head -n 1 >/dev/null; exit ${PIPESTATUS[0]}");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_TRUE(Holds(run.errors, "cannot write standard output")) << run.errors;
}

}  // namespace
}  // namespace end_to_end
