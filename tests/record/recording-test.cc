// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// qor record with real agents.

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "end-to-end-test.h"
#include "record/event-reader.h"
#include "record/record.h"

namespace end_to_end {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using tools::record::Command;
using tools::record::Outcome;

const std::string kText = "org.example.text.handler";
const std::string kSilent = "org.example.silent.handler";

std::string TextOf(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class Recording : public EndToEndTest {
 protected:
  static std::string ScenarioAgent() { return BuildFolder() + "/tests/record/scenario-agent"; }
  static std::string Recorder() { return BuildFolder() + "/tools/recorder/libqor-recorder.so"; }
  std::string File() const { return Root() + "/record"; }

  void Write(const std::string& lines) const { std::ofstream(File()) << lines; }

  static tools::ProcessResult Run(const std::vector<std::string>& arguments) {
    return tools::RunProcess(arguments, kTimeoutSeconds);
  }

  // Discards stored answers of the handler, so that runs are equal.
  void ReinstallText() {
    Uninstall("org.example.text");
    Install("text");
  }

  // Records a program as JSON Lines in File().
  tools::ProcessResult RunRecorded(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"record", "--format", "json", "-o", File(), "--"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return Qor(all);
  }

  tools::record::Record Recorded() const {
    std::ifstream file(File());
    auto read = tools::record::ReadJsonLines(file);
    for (const auto& line : read.bad_lines) ADD_FAILURE() << line.number << ": " << line.reason;
    return tools::record::MakeRecord(std::move(read.events));
  }
};

const Command& Find(const tools::record::Record& record, const std::string& uuid) {
  for (const Command& command : record.commands) {
    if (command.uuid == uuid) return command;
  }
  static const Command none;
  ADD_FAILURE() << "no command " << uuid;
  return none;
}

TEST_F(Recording, ChangesNeitherOutputNorExitStatusNorEnvironment) {
  Install("text");
  Install("silent");
  const auto plain = Run({ScenarioAgent(), "outcomes"});
  ASSERT_EQ(plain.exit_status, 7) << plain.errors;
  ASSERT_THAT(plain.output, HasSubstr("environment: no preload not recorded\n"));
  ReinstallText();
  const auto recorded = RunRecorded({ScenarioAgent(), "outcomes"});
  EXPECT_EQ(recorded.exit_status, 7) << recorded.errors;
  EXPECT_EQ(recorded.output, plain.output);
}

TEST_F(Recording, KeepsTheTimelineOfEveryCommand) {
  Install("text");
  Install("silent");
  ASSERT_EQ(RunRecorded({ScenarioAgent(), "outcomes"}).exit_status, 7);
  const tools::record::Record record = Recorded();
  ASSERT_THAT(record.commands, SizeIs(7));
  ASSERT_THAT(record.agents, SizeIs(1));
  EXPECT_EQ(record.agents[0].program, ScenarioAgent());

  const Command& success = Find(record, "success");
  EXPECT_EQ(success.outcome, Outcome::kSuccess);
  EXPECT_EQ(success.type, "text.upper");
  EXPECT_EQ(success.payload, "\"a\"");
  EXPECT_EQ(success.handler, kText);
  EXPECT_TRUE(success.launched && success.connected && success.accepted);
  EXPECT_THAT(success.delivered, SizeIs(1));
  EXPECT_THAT(success.answer->result, HasSubstr("\"text\":\"A\""));
  EXPECT_LT(*success.launched, *success.connected);
  EXPECT_LT(*success.connected, success.delivered[0]);
  EXPECT_LT(success.delivered[0], success.end);

  const Command& failure = Find(record, "failure");
  EXPECT_EQ(failure.outcome, Outcome::kFailure);
  EXPECT_FALSE(failure.launched);
  EXPECT_THAT(failure.answer->error, HasSubstr("this handler refuses"));

  const Command& extended = Find(record, "extended");
  EXPECT_EQ(extended.outcome, Outcome::kSuccess);
  ASSERT_THAT(extended.extensions, SizeIs(1));
  EXPECT_TRUE(extended.extensions[0].granted);
  EXPECT_EQ(extended.extensions[0].seconds, 1.2);

  const Command& late = Find(record, "late");
  EXPECT_EQ(late.outcome, Outcome::kExecutionTimeout);
  ASSERT_THAT(late.late_answers, SizeIs(1));
  EXPECT_GT(late.late_answers[0].time, late.end);
  EXPECT_GE(late.Duration(), 400'000);

  const Command& unconnected = Find(record, "unconnected");
  EXPECT_EQ(unconnected.outcome, Outcome::kConnectionTimeout);
  EXPECT_EQ(unconnected.handler, kSilent);
  EXPECT_GE(unconnected.Duration(), 1'500'000);

  int routed = 0;
  for (const tools::record::Event& event : record.events) {
    if (event.kind == tools::record::EventKind::kAnswered) {
      EXPECT_EQ(event.handler, kText);
    } else if (event.kind == tools::record::EventKind::kRouted) {
      EXPECT_EQ(event.handler, event.uuid == "unconnected" ? kSilent : kText);
      ++routed;
    }
  }
  EXPECT_EQ(routed, 6);

  EXPECT_EQ(Find(record, "unknown").outcome, Outcome::kRefused);
  EXPECT_EQ(Find(record, "unknown").code, QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
  EXPECT_EQ(Find(record, "dropped").outcome, Outcome::kDropped);
  EXPECT_EQ(Find(record, "dropped").handler, kText);
  EXPECT_THAT(Find(record, "dropped").disconnected, IsEmpty());
}

TEST_F(Recording, LetsTheAgentRefuseExtensions) {
  Install("text");
  const auto plain = Run({ScenarioAgent(), "refuse"});
  EXPECT_THAT(plain.output, HasSubstr(kText + " asks agent for 1.2 s for extended\n"));
  ReinstallText();
  EXPECT_EQ(RunRecorded({ScenarioAgent(), "refuse"}).output, plain.output);
  const tools::record::Record record = Recorded();
  const Command& extended = Find(record, "extended");
  EXPECT_EQ(extended.outcome, Outcome::kFailure);
  ASSERT_THAT(extended.extensions, SizeIs(1));
  EXPECT_FALSE(extended.extensions[0].granted);
}

TEST_F(Recording, RecordsAgentsWithoutCallbacks) {
  Install("text");
  ASSERT_EQ(RunRecorded({ScenarioAgent(), "no-callbacks"}).exit_status, 7);
  const tools::record::Record record = Recorded();
  EXPECT_EQ(Find(record, "unobserved").outcome, Outcome::kSuccess);
  EXPECT_THAT(Find(record, "crash").delivered, SizeIs(1));
  ASSERT_THAT(record.handlers, SizeIs(1));
  ASSERT_THAT(record.handlers[0].connections, SizeIs(1));
  EXPECT_LT(record.handlers[0].connections[0].end, record.duration);
}

TEST_F(Recording, RecordsHowAHandlerExits) {
  Install("text");
  ASSERT_EQ(RunRecorded({ScenarioAgent(), "crash"}).exit_status, 7);
  const tools::record::Record record = Recorded();
  ASSERT_THAT(record.handlers, SizeIs(1));
  EXPECT_EQ(record.handlers[0].id, kText);
  ASSERT_THAT(record.handlers[0].exits, SizeIs(1));
  const tools::record::Exit& exit = record.handlers[0].exits[0];
  EXPECT_GT(exit.handler_process, 0);
  EXPECT_EQ(exit.signal, SIGKILL);
  EXPECT_EQ(exit.status, 0);
  EXPECT_THAT(exit.text, HasSubstr("killed by signal 9"));
}

TEST_F(Recording, ContinuesAfterARestartOfTheLibrary) {
  Install("text");
  const auto plain = Run({ScenarioAgent(), "restart"});
  ReinstallText();
  const auto recorded = RunRecorded({ScenarioAgent(), "restart"});
  EXPECT_EQ(recorded.output, plain.output);
  EXPECT_THAT(recorded.output, HasSubstr("agent second: 0"));
  const tools::record::Record record = Recorded();
  ASSERT_THAT(record.commands, SizeIs(2));
  for (const Command& command : record.commands) {
    EXPECT_EQ(command.outcome, Outcome::kSuccess);
    EXPECT_THAT(command.extensions, SizeIs(1));
  }
  EXPECT_THAT(record.handlers[0].connections, SizeIs(2));
}

TEST_F(Recording, RecordsCallsFromSeveralThreads) {
  ASSERT_EQ(RunRecorded({ScenarioAgent(), "threads"}).exit_status, 7);
  const tools::record::Record record = Recorded();
  EXPECT_THAT(record.commands, SizeIs(800));
  for (const Command& command : record.commands) EXPECT_EQ(command.outcome, Outcome::kRefused);
}

TEST_F(Recording, RecordsAgentsStartedByAShell) {
  Install("text");
  const std::string agent = BuildFolder() + "/examples/example-agent";
  const auto run =
      RunRecorded({"sh", "-c", agent + " text.upper '\"a\"'; exec " + agent + " text.reject"});
  EXPECT_EQ(run.exit_status, 1) << run.errors;
  const tools::record::Record record = Recorded();
  EXPECT_THAT(record.agents, SizeIs(2));
  ASSERT_THAT(record.commands, SizeIs(2));
  EXPECT_EQ(record.commands[0].outcome, Outcome::kSuccess);
  EXPECT_EQ(record.commands[1].outcome, Outcome::kFailure);
}

TEST_F(Recording, RecordsQorSend) {
  Install("text");
  const auto run = RunRecorded({BuildFolder() + "/tools/qor/qor", "send", "text.forget",
                                "--execution-timeout", "200", "--deadline", "3"});
  EXPECT_EQ(run.exit_status, 4) << run.errors;
  const tools::record::Record record = Recorded();
  ASSERT_THAT(record.commands, SizeIs(1));
  EXPECT_EQ(record.commands[0].outcome, Outcome::kExecutionTimeout);
}

TEST_F(Recording, DoesNotAffectAnAgentThatLoadsTheLibraryWithDlopen) {
  Install("text");
  const auto run = RunRecorded({BuildFolder() + "/tests/record/dlopen-agent", QOR_LIBRARY});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "loaded: {\"text\":\"A\",\"by\":\"" + kText + "\"}\n");
  EXPECT_THAT(Recorded().handlers, SizeIs(1));
}

TEST_F(Recording, ReportsAWriteErrorOnceAndLetsTheAgentContinue) {
  Install("text");
  for (const auto& [file, reason] : {std::pair{Root() + "/no/file", "open: No such file"},
                                     {std::string("/dev/full"), "write: No space left"}}) {
    const auto run = Run({"env", "LD_PRELOAD=" + Recorder(), "QOR_RECORD_FILE=" + file,
                          BuildFolder() + "/examples/example-agent", "text.upper", "\"a\""});
    EXPECT_EQ(run.exit_status, 0);
    EXPECT_THAT(run.output, HasSubstr("text.upper: "));
    const std::string message = "qor-recorder: recording to " + file + " stopped: " + reason;
    EXPECT_THAT(run.errors, HasSubstr(message));
    EXPECT_EQ(run.errors.find("qor-recorder"), run.errors.rfind("qor-recorder")) << run.errors;
  }
}

TEST_F(Recording, LeavesOtherPreloadedLibrariesInTheEnvironment) {
  const auto run = Run({"env", "LD_PRELOAD=" + Recorder() + " libpthread.so.0",
                        "QOR_RECORD_FILE=" + File(), ScenarioAgent()});
  EXPECT_EQ(run.output, "environment: libpthread.so.0 not recorded\n") << run.errors;
}

TEST_F(Recording, FindsTheRecorderInAnInstallation) {
  namespace fs = std::filesystem;
  const std::string tool = Root() + "/bin/qor";
  const std::string folder = Root() + "/" QOR_INSTALL_LIBDIR "/qor";
  fs::create_directories(Root() + "/bin");
  fs::create_directories(folder);
  fs::copy_file(BuildFolder() + "/tools/qor/qor", tool);
  // The tool still needs the libraries of the build folder.
  const std::string libraries =
      Run({"sh", "-c",
           "ldd " + BuildFolder() +
               "/tools/qor/qor | sed -nE 's|.*=> (/.*)/[^/]+ .*|\\1|p' | sort -u | paste -sd:"})
          .output;
  const std::vector<std::string> arguments = {
      "env", "LD_LIBRARY_PATH=" + libraries.substr(0, libraries.find('\n')),
      tool,  "record",
      "--",  ScenarioAgent()};
  const auto without = Run(arguments);
  EXPECT_EQ(without.exit_status, 1);
  EXPECT_THAT(without.errors,
              HasSubstr("qor: cannot find libqor-recorder.so\n  install it in " + folder + "\n"));
  fs::copy_file(Recorder(), folder + "/libqor-recorder.so");
  EXPECT_EQ(Run(arguments).exit_status, 7);
}

TEST_F(Recording, WritesTextToStandardErrorWithoutAFile) {
  Install("text");
  const auto run =
      Qor({"record", "--", BuildFolder() + "/examples/example-agent", "text.upper", "\"a\""});
  EXPECT_EQ(run.output, "text.upper: {\"text\":\"A\",\"by\":\"" + kText + "\"}\n");
  EXPECT_THAT(run.errors, HasSubstr("  text.upper  " + kText + "  success after "));
}

TEST_F(Recording, PassesArgumentsUnchangedAndReturnsTheExitStatus) {
  const auto run =
      Qor({"record", "--", "sh", "-c", "echo \"$@\"; exit 42", "--", "--format", "-o", "--"});
  EXPECT_EQ(run.output, "--format -o --\n");
  EXPECT_EQ(run.exit_status, 42);
  EXPECT_THAT(run.errors, HasSubstr("qor: sh did not call the library: nothing recorded"));
  EXPECT_EQ(Qor({"record", "--", "sh", "-c", "kill -KILL $$"}).exit_status, 128 + 9);
}

TEST_F(Recording, IgnoresSigintAndForwardsSigterm) {
  EXPECT_EQ(Qor({"record", "--", "sh", "-c", "kill -INT $PPID; exit 5"}).exit_status, 5);
  const auto run =
      Qor({"record", "--", "sh", "-c", "kill -TERM $PPID; for i in $(seq 1000000); do :; done"});
  EXPECT_EQ(run.exit_status, 128 + 15);
}

TEST_F(Recording, ReportsAProgramThatCannotBeRun) {
  const auto run = Qor({"record", "--", "/no/such/program"});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors,
              HasSubstr("qor: cannot run /no/such/program: No such file or directory\n"));
}

TEST_F(Recording, DoesNotRunTheProgramWhenTheOutputCannotBeOpened) {
  const auto run = Qor({"record", "-o", Root() + "/no/file", "--", "sh", "-c", "echo ran"});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_EQ(run.output, "");
  EXPECT_THAT(run.errors,
              HasSubstr("qor: " + Root() + "/no/file: cannot write the record: No such file"));
}

TEST_F(Recording, RequiresAProgramOrAFile) {
  Write("");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"record"}, {"record", "--from", File(), "--", "true"}}) {
    const auto run = Qor(arguments);
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_THAT(run.errors, HasSubstr("expected either a program or --from"));
  }
  EXPECT_EQ(Qor({"record", "--format", "poem", "--", "true"}).exit_status, 2);
}

TEST_F(Recording, ConvertsAStoredRecordAndSkipsInvalidLines) {
  Write(R"({"t":5,"pid":1,"event":"sent","uuid":"u","type":"t","payload":""}
not a line
{"t":9,"pid":1,"event":"refused","uuid":"u"}
)");
  const auto run = Qor({"record", "--from", File()});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_THAT(run.output, HasSubstr("u  t  no handler  unfinished"));
  EXPECT_EQ(run.errors, "qor: " + File() + ":2: skipped: invalid JSON: Invalid value.\n" +
                            "qor: " + File() + ":3: skipped: missing \"code\"\n");
}

TEST_F(Recording, RejectsAnEmptyRecord) {
  Write("nothing\n");
  const auto run = Qor({"record", "--from", File()});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors, HasSubstr("qor: " + File() + ": no events\n"));
  const auto missing = Qor({"record", "--from", Root() + "/none"});
  EXPECT_EQ(missing.exit_status, 1);
  EXPECT_THAT(missing.errors, HasSubstr(Root() + "/none: cannot read the record: No such file"));
  EXPECT_THAT(Qor({"record", "--from", Root()}).errors,
              HasSubstr(Root() + ": cannot read the record: is a folder\n"));
}

TEST_F(Recording, WritesEveryFormatToAFile) {
  Write(R"({"t":5,"pid":1,"event":"sent","uuid":"the-uuid","type":"t","payload":""})");
  const std::string out = Root() + "/out";
  for (const auto& [format, begin] : {std::pair{"text", "0 us: 1 command, 0 handlers\n"},
                                      {"json", R"({"t":5,"pid":1,)"},
                                      {"trace", R"({"displayTimeUnit":"ms",)"},
                                      {"html", "<!DOCTYPE html>\n"}}) {
    const auto run = Qor({"record", "--from", File(), "--format", format, "-o", out});
    EXPECT_EQ(run.exit_status, 0) << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(TextOf(out).rfind(begin, 0), 0u) << format;
    EXPECT_THAT(TextOf(out), HasSubstr("the-uuid")) << format;
  }
}

}  // namespace
}  // namespace end_to_end
