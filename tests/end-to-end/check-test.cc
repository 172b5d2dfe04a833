// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "end-to-end-test.h"
#include "live-process.h"
#include "platform/linux/common/process-handle.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;

constexpr char kHandlerKey[] = "http://tizen.org/iot/metadata/qor/command-handler";
constexpr char kPriorityKey[] = "http://tizen.org/iot/metadata/qor/priority";
constexpr char kManifest[] = "tizen-manifest.xml";
constexpr char kConfiguration[] = "res/handler.yaml";

class Check : public EndToEndTest {
 protected:
  // The temporary files of the tool, which must all be removed.
  Check() {
    fs::create_directory(Temporary());
    setenv("TMPDIR", Temporary().c_str(), 1);
  }
  ~Check() override {
    unsetenv("TMPDIR");
    EXPECT_TRUE(fs::is_empty(Temporary()));
    EXPECT_EQ(Processes().size(), 0u);
    EXPECT_FALSE(fs::exists(Root() + "/packages.db"));
  }

  std::string Temporary() const { return Root() + "/tmp"; }
  std::vector<pid_t> Processes() const {
    return platform::FindProcesses([this](const platform::Executable& executable) {
      return executable.path.rfind(Temporary() + "/", 0) == 0;
    });
  }

  // Copies a package, so that the test can modify it.
  std::string Copy(const std::string& package) const {
    const std::string copy = Root() + "/pkg";
    fs::remove_all(copy);
    fs::copy(Packages() + "/" + package, copy, fs::copy_options::recursive);
    return copy;
  }

  // The name of the executable selects the misbehaviour.
  std::string CopyOfMisbehavingAs(const std::string& executable) const {
    const std::string package = Copy("misbehaving");
    fs::rename(package + "/bin/misbehaving-handler", package + "/bin/" + executable);
    Replace(package + "/" + kManifest, "exec=\"misbehaving-handler\"",
            "exec=\"" + executable + "\"");
    return package;
  }

  static void Write(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  static void Replace(const std::string& path, const std::string& from, const std::string& to) {
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    const auto at = text.find(from);
    ASSERT_NE(at, std::string::npos) << path << ": " << from;
    Write(path, text.replace(at, from.size(), to));
  }

  // Replaces text in a file of a copy of the package "text" and returns the report.
  std::string ReportWith(const std::string& file, const std::string& from, const std::string& to,
                         int exit_status) {
    const std::string package = Copy("text");
    Replace(package + "/" + file, from, to);
    return ReportOf(package, exit_status);
  }
  std::string ReportWithConfiguration(const std::string& text, int exit_status) {
    const std::string package = Copy("text");
    Write(package + "/" + kConfiguration, text);
    return ReportOf(package, exit_status);
  }
  std::string ReportOf(const std::string& package, int exit_status) {
    const auto run = Qor({"check", package});
    EXPECT_EQ(run.exit_status, exit_status) << run.output << run.errors;
    return run.output;
  }
  std::string InPackage(const std::string& file) const { return Root() + "/pkg/" + file; }

  // By default handlers have ample time to connect.
  tools::ProcessResult RunHandlers(const std::string& package,
                                   std::vector<std::string> options = {},
                                   const std::string& connection_ms = "60000") {
    options.insert(options.begin(),
                   {"check", "--run", package, "--connection-timeout", connection_ms});
    return Qor(options);
  }
};

#define EXPECT_HAS(text, part) EXPECT_NE((text).find(part), std::string::npos) << (text)
#define EXPECT_HAS_NOT(text, part) EXPECT_EQ((text).find(part), std::string::npos) << (text)

TEST_F(Check, PassesAValidPackageAndShowsItsDeclarations) {
  EXPECT_EQ(ReportOf(Packages() + "/greet", 0),
            "pass  manifest: org.example.greet 1.0.0\n"
            "pass  application: org.example.greet.handler is a service application\n"
            "pass  executable: bin/greet-handler exists\n"
            "pass  metadata: names res/handler.yaml\n"
            "pass  configuration: serves greet\n"
            "pass  priority: 10: declared as 10\n"
            "pass  privileges: has the privileges of a handler\n"
            "7 passed, 0 warned, 0 failed\n");
}

TEST_F(Check, FailsWhereThePackageManagerRejects) {
  const std::string manifest = "fail  manifest: " + InPackage(kManifest);
  EXPECT_HAS(ReportWith(kManifest, "</manifest>", "", 1), manifest + ":15: ");
  EXPECT_HAS(ReportWith(kManifest, "version=\"1.0.0\"", "version=\"1\"", 1),
             manifest +
                 ":4: version: \"1\" is not a version like 1.2.3\n"
                 "      use three numbers, such as version=\"1.2.3\"\n");
  EXPECT_HAS(
      ReportWith(kManifest, "package=\"org", "package=\"an id", 1),
      manifest + ":4: package: \"an id.example.text\" is not a package id\n      use a unique");
  EXPECT_HAS(ReportWith(kManifest, "<service-application", "<service", 1), manifest + ":10: ");
}

TEST_F(Check, FailsForAnApplicationWithoutAnExecutable) {
  const std::string exec = "fail  manifest: " + InPackage(kManifest) + ":6: exec: ";
  EXPECT_HAS(ReportWith(kManifest, "exec=\"text-handler\"", "", 1),
             exec + "the application has no exec\n      set an executable file in bin/");
  EXPECT_HAS(
      ReportWith(kManifest, "exec=\"text", "exec=\"test", 1),
      exec + "bin/test-handler does not exist\n      there is bin/text-handler: write exec=");
  const std::string package = Copy("text");
  fs::permissions(package + "/bin/text-handler", fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_HAS(ReportOf(package, 1),
             exec + "bin/text-handler is not executable\n      run: chmod +x " + package + "/bin/");
}

TEST_F(Check, WarnsAboutAHandlerThatIsNotAService) {
  const std::string package = Copy("text");
  Replace(package + "/" + kManifest, "<service-application", "<ui-application");
  Replace(package + "/" + kManifest, "</service-application", "</ui-application");
  EXPECT_HAS(ReportOf(package, 0),
             "warn  application: " + InPackage(kManifest) +
                 ":6: not a service application: the handler is visible when launched\n"
                 "      declare it as a <service-application>\n");
}

TEST_F(Check, ReportsMisspelledKeys) {
  for (const std::string& slip :
       {std::string("http://tizen.org/metadata/qor/command-handler"),
        std::string("command-handler"),
        std::string("http://tizen.org/iot/metadata/qor/Command-Handler"),
        std::string("http://tizen.org/iot/metadata/qor/comand-handler")}) {
    EXPECT_HAS(ReportWith(kManifest, kHandlerKey, slip, 1),
               "fail  metadata: " + InPackage(kManifest) + ":8: " + slip +
                   ": unknown key (expected \"" + kHandlerKey + "\")\n      rename it to \"" +
                   kHandlerKey + "\"\n");
  }
  EXPECT_HAS(ReportWith(kManifest, kPriorityKey, "http://tizen.org/iot/metadata/qor/prority", 0),
             "warn  priority: " + InPackage(kManifest) +
                 ":9: http://tizen.org/iot/metadata/qor/prority: unknown key (expected \"" +
                 kPriorityKey + "\")\n      rename it");
}

TEST_F(Check, FailsForAPackageWithoutAHandler) {
  EXPECT_HAS(ReportWith(kManifest, kHandlerKey, "http://example.org/other", 1),
             "fail  metadata: " + InPackage(kManifest) + ": " + kHandlerKey +
                 ": no command handler: no application names a configuration file\n"
                 "      add <metadata key=\"" +
                 kHandlerKey + "\"");
}

TEST_F(Check, FailsForAnInvalidPathOfTheConfigurationFile) {
  const std::string place = "fail  metadata: " + InPackage(kManifest) + ":8: " + kHandlerKey + ": ";
  EXPECT_HAS(ReportWith(kManifest, "res/handler.yaml", "res/handlers.yaml", 1),
             place +
                 "configuration file res/handlers.yaml does not exist\n      did you mean "
                 "res/handler.yaml?");
  EXPECT_HAS(ReportWith(kManifest, "res/handler.yaml", "", 1),
             place + "empty value (expected a configuration file)\n      set the path");
  EXPECT_HAS(ReportWith(kManifest, "res/handler.yaml", "res/../../handler.yaml", 1),
             place +
                 "configuration file res/../../handler.yaml is outside the package\n"
                 "      move it into the package");
  // The path may exist relative to the temporary copy.
  Write(Temporary() + "/handler.yaml", "request-types: [a]\n");
  EXPECT_HAS(ReportWith(kManifest, "res/handler.yaml", "../handler.yaml", 1),
             place + "configuration file ../handler.yaml is outside the package\n");
  fs::remove(Temporary() + "/handler.yaml");
}

TEST_F(Check, ReportsTheLineOfAnInvalidConfigurationFile) {
  const std::string file = "fail  configuration: " + InPackage(kConfiguration);
  const std::string shape = "\n      use \"request-types:\" and one line";
  EXPECT_HAS(ReportWithConfiguration("- a\n", 1),
             file + ":1: expected a mapping with the key \"request-types\"" + shape);
  EXPECT_HAS(ReportWithConfiguration("version: 1\nrequest_types: [a]\n", 1),
             file +
                 ":2: request_types: unknown key (expected \"request-types\")\n"
                 "      rename it to \"request-types\"\n");
  EXPECT_HAS(ReportWithConfiguration("version: 1\nrequest-types: a\n", 1),
             file + ":2: request-types: not a list" + shape);
  EXPECT_HAS(ReportWithConfiguration("request-types:\n  - a\n  - {b: c}\n", 1),
             file + ":3: request-types: list item is not a string" + shape);
  EXPECT_HAS(ReportWithConfiguration("version: 1\nrequest-types: []\n", 1),
             file + ":2: request-types: empty list\n      add the request types\n");
  EXPECT_HAS(ReportWithConfiguration("request-types:\n  - [a\n", 1), file + ":3: invalid YAML: ");
}

TEST_F(Check, WarnsAboutSuspiciousRequestTypes) {
  const std::string report = ReportWithConfiguration(
      "request-types:\n  - a\n  -\n  - b\n  - a\n  - \"\"\n  - ~\n  - # none\n", 0);
  const std::string file = "warn  configuration: " + InPackage(kConfiguration);
  EXPECT_HAS(report, file +
                         ":3: request-types: empty item is the request type "
                         "\"null\"\n      write the type after the dash, or remove the line\n");
  for (const char* line : {":7: ", ":8: "}) {
    EXPECT_HAS(report, file + line + "request-types: empty item is");
  }
  EXPECT_HAS(report, file + ":5: request-types: duplicate request type \"a\"\n      remove one\n");
  EXPECT_HAS(report, file + ":6: request-types: empty request type\n      write the type");
  EXPECT_HAS_NOT(report, "pass  configuration");
}

TEST_F(Check, WarnsAboutInvalidPriorities) {
  const std::string place =
      "warn  priority: " + InPackage(kManifest) + ":9: " + kPriorityKey + ": ";
  const std::string hint = "\n      write a number from 1 to 100\n";
  EXPECT_HAS(ReportWith(kManifest, "value=\"10\"", "value=\"high\"", 0),
             place + "\"high\" is not a number, priority is 0" + hint);
  EXPECT_HAS(ReportWith(kManifest, "value=\"10\"", "value=\"250\"", 0),
             place + "\"250\" is out of range, priority is 100" + hint);
  EXPECT_HAS(ReportWith(kManifest, "value=\"10\"", "value=\"0\"", 0),
             place + "\"0\" is out of range, priority is 1" + hint);
  EXPECT_HAS(ReportWith(kManifest, kPriorityKey, "http://example.org/other", 0),
             "pass  priority: 0: not declared, default 0\n");
}

TEST_F(Check, FailsForEachMissingPrivilege) {
  for (const std::string& name : {std::string("http://tizen.org/privilege/datasharing"),
                                  std::string("http://tizen.org/privilege/appmanager.launch")}) {
    EXPECT_HAS(ReportWith(kManifest, name, "http://tizen.org/privilege/internet", 1),
               "fail  privileges: " + InPackage(kManifest) + ":11: " + name +
                   ": missing privilege, connections are rejected\n      add <privilege>" + name +
                   "</privilege> to <privileges>\n");
  }
  // Privileges are also checked with an invalid configuration file.
  const std::string package = Copy("text");
  Write(package + "/" + kConfiguration, "request-types: []\n");
  Replace(package + "/" + kManifest, "privilege/datasharing", "privilege/internet");
  EXPECT_HAS(ReportOf(package, 1), "fail  privileges: ");
}

TEST_F(Check, DistinguishesTheApplicationsOfAPackage) {
  const std::string package = Copy("text");
  fs::copy(package + "/bin/text-handler", package + "/bin/other");
  Replace(package + "/" + kManifest, "  <privileges>",
          "<service-application appid=\"other\" exec=\"other\"><metadata key=\"" +
              std::string(kHandlerKey) + "\" value=\"none\"/></service-application><privileges>");
  const std::string report = ReportOf(package, 1);
  EXPECT_HAS(report, "pass  org.example.text.handler metadata: names res/handler.yaml\n");
  EXPECT_HAS(report, "fail  other metadata: " + InPackage(kManifest) + ":11: ");
}

TEST_F(Check, ReadsArchives) {
  const std::string package = Copy("text");
  Replace(package + "/" + kManifest, "value=\"10\"", "value=\"250\"");
  const std::string archive = Root() + "/text.tpk";
  const auto zip = tools::RunProcess(
      {"sh", "-c", "cd '" + package + "' && cmake -E tar cf '" + archive + "' --format=zip ."},
      kTimeoutSeconds);
  ASSERT_EQ(zip.exit_status, 0) << zip.errors;
  const std::string report = ReportOf(archive, 0);
  EXPECT_HAS(report, "warn  priority: " + archive + "/tizen-manifest.xml:9: ");
  EXPECT_HAS(report, "6 passed, 1 warned, 0 failed\n");
  Write(archive, "no archive");
  EXPECT_HAS(ReportOf(archive, 1), "fail  manifest: ");
}

TEST_F(Check, PrintsJson) {
  const std::string package = Copy("text");
  Replace(package + "/" + kManifest, "value=\"10\"", "value=\"high\"");
  Write(package + "/" + kConfiguration, "request-types: []\n");
  const auto run = Qor({"check", "--json", package});
  EXPECT_EQ(run.exit_status, 1) << run.errors;
  EXPECT_EQ(
      run.output,
      "{\"package\":\"" + package +
          "\",\"checks\":["
          R"({"name":"manifest","level":"pass","message":"org.example.text 1.0.0"},)"
          R"({"name":"application","level":"pass","message":)"
          R"("org.example.text.handler is a service application"},)"
          R"({"name":"executable","level":"pass","message":"bin/text-handler exists"},)"
          R"({"name":"metadata","level":"pass","message":"names res/handler.yaml"},)"
          R"({"name":"configuration","level":"fail","message":"empty list","file":")" +
          InPackage(kConfiguration) +
          R"(","line":1,"key":"request-types","hint":"add the request types"},)"
          R"({"name":"priority","level":"warn","message":)"
          R"("\"high\" is not a number, priority is 0","file":")" +
          InPackage(kManifest) + R"(","line":9,"key":")" + kPriorityKey +
          R"(","hint":"write a number from 1 to 100"},)"
          R"({"name":"privileges","level":"pass","message":"has the privileges of a handler"}],)"
          R"("summary":{"pass":5,"warn":1,"fail":1}})"
          "\n");
}

TEST_F(Check, ReturnsTwoForUsageErrors) {
  const std::string package = Packages() + "/text";
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"check"},
        {"check", Root() + "/missing"},
        {"check", package, "--skip", "text.echo"},
        {"check", package, "--run", "--skip", "no.type"},
        {"check", package, "--run", "--payload", "no=1"},
        {"check", package, "--run", "--payload", "1"}}) {
    EXPECT_EQ(Qor(arguments).exit_status, 2);
  }
  const auto help = Qor({"check", "--help"});
  EXPECT_EQ(help.exit_status, 0);
  EXPECT_HAS(help.output, "Examples:\n  qor check ");
}

class CheckExample : public Check, public testing::WithParamInterface<const char*> {};

TEST_P(CheckExample, PassesWithRun) {
  std::vector<std::string> options;
  if (std::string(GetParam()) == "text") {
    options = {"--skip", "text.crash", "--skip", "text.forget"};
  }
  const auto run = RunHandlers(Packages() + "/" + GetParam(), options);
  EXPECT_EQ(run.exit_status, 0) << run.output << run.errors;
  EXPECT_HAS(run.output, "pass  connection: connects and fetches its commands\n");
  EXPECT_HAS(run.output, "pass  again: ");
  EXPECT_HAS(run.output, "pass  agent restart: reconnects after ");
  EXPECT_HAS(run.output, "pass  handler killed: timeout for the pending command, the next command");
  EXPECT_HAS(run.output, "pass  once: ");
}

INSTANTIATE_TEST_SUITE_P(Good, CheckExample,
                         testing::Values("text", "text-2", "text-preferred", "greet", "reboot",
                                         "config", "progress"),
                         [](const auto& package) {
                           std::string name = package.param;
                           name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
                           return name;
                         });

TEST_F(Check, FailsForAHandlerThatNeverConnects) {
  const auto run = RunHandlers(Packages() + "/silent", {}, "500");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output,
             "fail  connection: runs but does not connect within 500 ms\n"
             "      connect to the port CommandHandler");
  EXPECT_HAS_NOT(run.output, "agent restart");
}

TEST_F(Check, FailsForAHandlerThatExitsBeforeItConnects) {
  const auto run = RunHandlers(CopyOfMisbehavingAs("exiting-handler"), {}, "2000");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "fail  connection: exited with status 0, before it connected\n");
}

TEST_F(Check, FailsForAnExecutableThatIsNotAProgram) {
  const std::string package = Copy("text");
  Write(package + "/bin/text-handler", "no program");
  const auto run = RunHandlers(package);
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "cannot be launched: executable is not a program for this machine\n");
  EXPECT_HAS(run.output, "warn  run: skipped because of failed checks\n");
}

TEST_F(Check, FailsForAHandlerThatDoesNotFetchItsCommands) {
  const auto run =
      RunHandlers(CopyOfMisbehavingAs("no-fetch-handler"), {"--execution-timeout", "500"}, "2000");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "fail  connection: connects but does not fetch its commands\n      set");
}

TEST_F(Check, ReportsTypesThatCrashTheHandlerOrAreNotAnswered) {
  const auto run = RunHandlers(Packages() + "/text");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output,
             "fail  text.crash: exited while executing the command\n      check its log");
  EXPECT_HAS(
      run.output,
      "warn  text.forget: no answer within 3000 ms\n      request more time before the timeout");
  EXPECT_HAS(run.output, "pass  text.echo: succeeds after ");
  EXPECT_HAS(run.output, " ms: {\"ErrorCode\":42,\"ErrorDescription\":\"this handler refuses\"}\n");
  EXPECT_HAS(run.output, "pass  handler killed: ");
}

TEST_F(Check, WarnsWhenNoTypeIsAnsweredInTime) {
  const std::string package = Copy("text");
  Write(package + "/" + kConfiguration, "request-types: [text.forget]\n");
  const auto run = RunHandlers(package, {"--execution-timeout", "500"});
  EXPECT_EQ(run.exit_status, 0) << run.output << run.errors;
  EXPECT_HAS(run.output, "warn  text.forget: no answer within 500 ms\n");
  EXPECT_HAS(run.output, "warn  agent restart: skipped");
}

TEST_F(Check, WarnsAboutATypeWithoutAFunction) {
  const auto run = RunHandlers(Packages() + "/text-2", {"--skip", "text.slow"});
  EXPECT_EQ(run.exit_status, 0) << run.output << run.errors;
  EXPECT_HAS(run.output, "warn  text.translate: answered by the SDK, not by the handler: ");
  EXPECT_HAS_NOT(run.output, "text.slow: ");
}

TEST_F(Check, SendsTheGivenPayloads) {
  const std::string file = Root() + "/payload";
  Write(file, R"({"a":[1,2]})");
  const auto run = RunHandlers(Packages() + "/text",
                               {"--skip", "text.crash", "--skip", "text.forget", "--payload",
                                "text.echo=@" + file, "--payload", R"(text.upper="a=b")"});
  EXPECT_EQ(run.exit_status, 0) << run.output << run.errors;
  EXPECT_HAS(run.output, " ms: {\"a\":[1,2]}\n");
  EXPECT_HAS(run.output, " ms: {\"text\":\"A=B\",\"by\":");
}

TEST_F(Check, ReportsMisbehaviourOfAHandler) {
  const auto run = RunHandlers(Packages() + "/misbehaving");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "pass  misbehaving.count: succeeds after ");
  EXPECT_HAS(run.output,
             "fail  misbehaving.count again: repeated command answered with 2, before "
             "with 1\n      store answers by uuid");
  EXPECT_HAS(run.output,
             "warn  misbehaving.once again: repeated command not answered\n      store");
  EXPECT_HAS(run.output,
             "fail  misbehaving.text: result is not JSON: hello there\n      return JSON");
  EXPECT_HAS(run.output, "fail  agent restart: after the restart: repeated command answered");
  EXPECT_HAS(run.output, "fail  once: ");
  EXPECT_HAS(run.output, " commands answered more than once\n      ignore");
}

TEST_F(Check, SkipsLiveChecksAfterAFailure) {
  const std::string package = Copy("text");
  Replace(package + "/" + kManifest, "privilege/datasharing", "privilege/internet");
  const auto run = RunHandlers(package);
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_HAS(run.output, "warn  run: skipped because of failed checks\n");
  EXPECT_HAS_NOT(run.output, "connection: ");
}

TEST_F(Check, RemovesItsFilesWhenInterrupted) {
  LiveProcess run({BuildFolder() + "/tools/qor/qor", "check", "--run", "--execution-timeout",
                   "60000", "--skip", "text.crash", Packages() + "/text"});
  ASSERT_TRUE(run.AwaitOutput("text.echo: "));
  run.Terminate();
  EXPECT_EQ(run.AwaitEnd(), 128 + SIGTERM);
}

TEST_F(Check, RemovesItsFilesWhenInterruptedWhileReading) {
  const std::string package = Copy("text");
  // Copying takes long enough for the signal.
  Write(package + "/res/zeros", "");
  fs::resize_file(package + "/res/zeros", 500 << 20);
  LiveProcess run({BuildFolder() + "/tools/qor/qor", "check", package});
  const auto is_reading = [this] {
    for (const auto& entry : fs::directory_iterator(Temporary()))
      if (entry.path().filename().string().rfind("qor-package-", 0) == 0) return true;
    return false;
  };
  while (!is_reading()) std::this_thread::yield();
  run.Terminate();
  EXPECT_EQ(run.AwaitEnd(), 128 + SIGTERM);
}

TEST_F(Check, RemovesTheFilesOfARejectedPackage) {
  const std::string package = Copy("text");
  std::string folder = package;
  for (int i = 0; i < 200; ++i) folder += "/d";
  fs::create_directories(folder);
  EXPECT_HAS(ReportOf(package, 1), "a path deeper than 64 levels");
}

}  // namespace
}  // namespace end_to_end
