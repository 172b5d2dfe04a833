// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// What the tool says when the process of a handler ends, and what it shows of its output.
#include <filesystem>
#include <fstream>
#include <string>

#include "end-to-end-test.h"
#include "live-process.h"
#include "platform/linux/common/application-log.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;

constexpr char kHandler[] = "org.example.text.handler";
// A test that waited for it would exceed the test's limit.
constexpr char kLongMs[] = "600000";

class HandlerEnd : public EndToEndTest {
 protected:
  // Installs the package "text" with another program as the handler.
  void InstallWith(const std::string& program) {
    const std::string copy = Copy(program);
    const auto run = Qor({"package", "install", copy});
    ASSERT_EQ(run.exit_status, 0) << run.errors;
  }
  std::string Copy(const std::string& program) const {
    const std::string copy = Root() + "/copy";
    fs::copy(Packages() + "/text", copy, fs::copy_options::recursive);
    fs::copy_file(program, copy + "/bin/text-handler", fs::copy_options::overwrite_existing);
    return copy;
  }
  static std::string WithoutLibrary() {
    return BuildFolder() + "/platform/linux/tests/support/platform_test_without_library";
  }

  static std::string WithoutLoader() {
    return BuildFolder() + "/platform/linux/tests/support/platform_test_without_loader";
  }

  tools::ProcessResult Send(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = {"send", "text.upper", "\"a\"", "--connection-timeout",
                                          kLongMs};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return Qor(arguments);
  }

  static std::string LogText() {
    std::ifstream log(platform::LogOf(kHandler));
    return {std::istreambuf_iterator<char>(log), {}};
  }
  void WriteLog(const std::string& text) const {
    fs::create_directories(Root() + "/logs");
    std::ofstream(platform::LogOf(kHandler), std::ios::app) << text;
  }

  // Runs the tool with a terminal as its output.
  tools::ProcessResult OnTerminal(const std::string& arguments) {
    const std::string tool = BuildFolder() + "/tools/qor/qor ";
    return tools::RunProcess({"script", "-qec", tool + arguments, "/dev/null"}, kTimeoutSeconds);
  }
};

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}
#define EXPECT_HAS(text, part) EXPECT_TRUE(Holds(text, part)) << (text)

TEST_F(HandlerEnd, EndsSendWithExitStatus) {
  InstallWith("/bin/false");
  const auto run = Send();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_HAS(run.errors,
             "qor: org.example.text.handler exited with status 1, before it connected\n"
             "  \"qor logs org.example.text.handler\" prints its output\n");
}

TEST_F(HandlerEnd, EndsSendWithMissingLibrary) {
  InstallWith(WithoutLibrary());
  const auto run = Send();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_HAS(run.errors,
             "qor: org.example.text.handler exited with status 127: libplatform_test_missing.so "
             "not found, before it connected\n");
}

TEST_F(HandlerEnd, EndsSendWhenHandlerExitsWithoutConnecting) {
  InstallWith("/bin/true");
  const auto run = Send();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_HAS(run.errors, "exited with status 0, before it connected\n");
}

TEST_F(HandlerEnd, EndsSendWithReasonInJson) {
  InstallWith("/bin/false");
  const auto run = Send({"--json"});
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_HAS(
      run.output,
      R"("outcome":"not-delivered","reason":"handler-exited","error":"org.example.text.handler )"
      R"(exited with status 1, before it connected")");
}

TEST_F(HandlerEnd, EndsSendOfScript) {
  const std::string script = Root() + "/script";
  std::ofstream(script) << "#!/bin/sh\n";
  fs::permissions(script, fs::perms::owner_all);
  InstallWith(script);
  const auto run = Send();
  EXPECT_EQ(run.exit_status, 6);
  EXPECT_HAS(run.errors, "bin/text-handler: it is a script");
}

// With a deadline of its own the command is tried again.
TEST_F(HandlerEnd, IsPrintedWhileCommandWaitsForDeadline) {
  InstallWith("/bin/false");
  const auto run =
      Qor({"send", "text.upper", "\"a\"", "--deadline", "2", "--connection-timeout", "500"});
  EXPECT_EQ(run.exit_status, 4);
  EXPECT_HAS(run.errors,
             "qor: org.example.text.handler exited with status 1, before it connected\n");
  EXPECT_HAS(run.errors, "was launched and did not connect\n");
}

TEST_F(HandlerEnd, IsPrintedWhenHandlerCrashesInWork) {
  Install("text");
  LiveProcess send(
      {BuildFolder() + "/tools/qor/qor", "send", "text.crash", "--execution-timeout", kLongMs});
  EXPECT_TRUE(send.AwaitErrors("qor: org.example.text.handler killed by signal 9 (Killed)\n"))
      << send.Errors();
  send.Terminate();
  send.AwaitEnd();
}

TEST_F(HandlerEnd, IsEventOfAgent) {
  InstallWith("/bin/false");
  LiveProcess agent({BuildFolder() + "/tools/qor/qor", "agent", "--connection-timeout", kLongMs});
  agent.Write("{\"type\":\"text.upper\"}\n");
  EXPECT_TRUE(
      agent.AwaitOutput(R"({"event":"exited","handler":"org.example.text.handler","process":)"));
  EXPECT_TRUE(agent.AwaitOutput(R"(,"status":1,"signal":0,"text":"exited with status 1"})"));
}

TEST_F(HandlerEnd, IsShownByExplainAndDoctor) {
  InstallWith("/bin/false");
  EXPECT_FALSE(Holds(Qor({"explain", "text.upper"}).output, "last process"));
  Send();
  EXPECT_HAS(Qor({"explain", "text.upper"}).output, "\n   last process: exited with status 1 (");
  EXPECT_HAS(Qor({"explain", "text.upper", "--json"}).output,
             R"("lastProcess":"exited with status 1 ()");
  EXPECT_HAS(Qor({"doctor"}).output,
             "handler org.example.text.handler: last process: exited with status 1 (");
}

TEST_F(HandlerEnd, IsFoundByCheck) {
  InstallWith("/bin/false");
  Uninstall("org.example.text");
  const auto run = Qor({"check", "--run", "--connection-timeout", kLongMs, Root() + "/copy"});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "fail  connection: exited with status 1, before it connected\n");
}

TEST_F(HandlerEnd, OfMissingLibraryIsPredictedByCheck) {
  const auto run = Qor({"check", Copy(WithoutLibrary())});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output,
             "cannot be launched: missing shared library libplatform_test_missing.so\n");
}

TEST_F(HandlerEnd, OfMissingLoaderIsPredictedByCheck) {
  const auto run = Qor({"check", Copy(WithoutLoader())});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "cannot be launched: missing dynamic loader /missing/loader.so\n");
}

TEST_F(HandlerEnd, OfScriptIsPredictedByCheck) {
  const std::string script = Root() + "/script";
  std::ofstream(script) << "#!/bin/sh\n";
  fs::permissions(script, fs::perms::owner_all);
  const auto run = Qor({"check", Copy(script)});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "cannot be launched: executable is a script\n");
}

using Logs = HandlerEnd;

TEST_F(Logs, AreListedWithSizeAndLastEnd) {
  EXPECT_EQ(Qor({"logs"}).output, "");
  InstallWith(WithoutLibrary());
  Send();
  const auto run = Qor({"logs"});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output.rfind("org.example.text.handler " + std::to_string(LogText().size()) +
                                 " bytes, last process exited with status 127: "
                                 "libplatform_test_missing.so not found (",
                             0),
            0U)
      << run.output;
}

TEST_F(Logs, ArePrintedOlderFileFirst) {
  WriteLog("2026-01-02T00:00:00.000Z 1 second\n");
  fs::rename(platform::LogOf(kHandler), platform::LogOf(kHandler) + ".1");
  WriteLog("2026-01-03T00:00:00.000Z 1 \x1b[31mthird\n");
  EXPECT_EQ(Qor({"logs", kHandler}).output,
            "2026-01-02T00:00:00.000Z 1 second\n2026-01-03T00:00:00.000Z 1 \x1b[31mthird\n");
}

TEST_F(Logs, AreEscapedOnTerminal) {
  WriteLog("2026-01-03T00:00:00.000Z 1 \x1b[31mred\n");
  const auto run = OnTerminal(std::string("logs ") + kHandler);
  EXPECT_HAS(run.output, R"(1 \x1b[31mred)");
}

TEST_F(Logs, AreLimitedToTime) {
  WriteLog("2026-01-02T00:00:00.000Z 1 old\n2099-01-03T00:00:00.000Z 1 new\n");
  for (const char* since : {"2026-01-02T00:00:01", "2099-01-03", "10m", "1d"}) {
    EXPECT_EQ(Qor({"logs", kHandler, "--since", since}).output, "2099-01-03T00:00:00.000Z 1 new\n")
        << since;
  }
  EXPECT_HAS(Qor({"logs", kHandler, "--since", "2026-01-02"}).output, " old\n");
}

TEST_F(Logs, RejectInvalidTime) {
  WriteLog("");
  for (const char* since : {"yesterday", "10", "m", "10x", "999999999d", "26-01-02"}) {
    const auto run = Qor({"logs", kHandler, "--since", since});
    EXPECT_EQ(run.exit_status, 2) << since;
    EXPECT_HAS(run.errors, "qor: invalid time \"" + std::string(since) + "\"\n");
  }
}

TEST_F(Logs, RejectUnknownHandler) {
  for (const char* handler : {"org.example.none", "../packages", ""}) {
    const auto run = Qor({"logs", handler, "--since", "1m"});
    EXPECT_NE(run.exit_status, 0) << handler;
    EXPECT_EQ(run.output, "");
  }
}

TEST_F(Logs, AreFollowedWhenReplaced) {
  WriteLog("first\n");
  LiveProcess logs({BuildFolder() + "/tools/qor/qor", "logs", kHandler, "--follow"});
  EXPECT_TRUE(logs.AwaitOutput("first\n"));
  WriteLog("second\n");
  EXPECT_TRUE(logs.AwaitOutput("second\n"));
  WriteLog("third\n");
  fs::rename(platform::LogOf(kHandler), platform::LogOf(kHandler) + ".1");
  WriteLog("fourth\n");
  EXPECT_TRUE(logs.AwaitOutput("fourth\n"));
  logs.Interrupt();
  EXPECT_EQ(logs.AwaitEnd(), 130);
  EXPECT_EQ(logs.Output(), "first\nsecond\nthird\nfourth\n");
}

TEST_F(Logs, ReportFailedWrite) {
  WriteLog("first\n");
  const std::string tool = BuildFolder() + "/tools/qor/qor ";
  for (const std::string arguments : {"logs", "logs org.example.text.handler"}) {
    const auto run =
        tools::RunProcess({"sh", "-c", tool + arguments + " > /dev/full"}, kTimeoutSeconds);
    EXPECT_EQ(run.exit_status, 1) << arguments;
    EXPECT_EQ(run.errors, "qor: cannot write standard output: No space left on device\n");
  }
}

TEST_F(Logs, ArePrintedBySend) {
  InstallWith(WithoutLibrary());
  const auto run = Send({"--log"});
  EXPECT_HAS(run.errors, "\norg.example.text.handler: 2");
  EXPECT_HAS(run.errors, "error while loading shared libraries: libplatform_test_missing.so");
}

}  // namespace
}  // namespace end_to_end
