// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include "end-to-end-test.h"
#include "example-copy.h"
#include "live-process.h"

namespace end_to_end {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ToolPackages : public EndToEndTest {
 protected:
  ExampleCopy CopyOf(const std::string& example) {
    return ExampleCopy(Packages() + "/" + example, Root() + "/copy-of-" + example);
  }
};

TEST_F(ToolPackages, InstallPrintsThePackageAndTheOperation) {
  EXPECT_EQ(Qor({"package", "install", Packages() + "/text"}).output,
            "org.example.text: installed\n");
  EXPECT_EQ(Qor({"package", "install", Packages() + "/text-2"}).output,
            "org.example.text: updated\n");
  EXPECT_EQ(Qor({"package", "update", Packages() + "/text", "--json"}).output,
            "{\"package\":\"org.example.text\",\"outcome\":\"downgraded\"}\n");
  EXPECT_EQ(Qor({"package", "install", Packages() + "/text"}).output,
            "org.example.text: updated\n");
  EXPECT_EQ(Qor({"package", "uninstall", "org.example.text", "--json"}).output,
            "{\"package\":\"org.example.text\",\"outcome\":\"uninstalled\"}\n");
}

TEST_F(ToolPackages, UpdateRequiresAnInstalledPackage) {
  const auto refused = Qor({"package", "update", Packages() + "/text-2"});
  EXPECT_EQ(refused.exit_status, 1);
  EXPECT_THAT(refused.errors,
              HasSubstr("qor: cannot update org.example.text: package is not installed"));
  EXPECT_EQ(Qor({"package", "list"}).output, "");
  Install("text");
  EXPECT_EQ(Qor({"package", "update", Packages() + "/text-2"}).exit_status, 0);
  EXPECT_EQ(Qor({"package", "list"}).output, "org.example.text 2.0.0\n");
}

TEST_F(ToolPackages, InstallReportsFileLineAndKeyOfARejectedPackage) {
  const auto copy = CopyOf("text");
  copy.Replace("version=\"1.0.0\"", "version=\"one\"");
  const std::string file = copy.Path() + "/tizen-manifest.xml";
  for (const char* verb : {"install", "update"}) {
    const auto text = Qor({"package", verb, copy.Path()});
    EXPECT_EQ(text.exit_status, 1);
    EXPECT_THAT(text.errors,
                HasSubstr("qor: " + file + ":4: version: \"one\" is not a version like 1.2.3\n"));
    const auto json = Qor({"package", verb, copy.Path(), "--json"});
    EXPECT_THAT(json.output, HasSubstr("\"file\":\"" + file + "\",\"line\":4,\"key\":\"version\""));
  }
}

TEST_F(ToolPackages, MissingPackagesAreReported) {
  const auto install = Qor({"package", "install", "/no/such.tpk"});
  EXPECT_EQ(install.exit_status, 1);
  EXPECT_THAT(install.errors, StartsWith("qor: /no/such.tpk: no such file or folder\n"));
  for (const char* verb : {"uninstall", "show"}) {
    const auto run = Qor({"package", verb, "org.example.nobody"});
    EXPECT_EQ(run.exit_status, 1);
    EXPECT_THAT(run.errors, HasSubstr("qor: package org.example.nobody is not installed\n"));
  }
}

TEST_F(ToolPackages, ShowPrintsDeclarationsAndPriorities) {
  Install("silent");
  const std::string text = Qor({"package", "show", "org.example.silent"}).output;
  EXPECT_THAT(text, StartsWith("org.example.silent 1.0.0\n  root path: " + Root() + "/packages/"));
  for (const char* line :
       {"\n  preloaded: no\n", "\n  privilege: http://tizen.org/privilege/datasharing\n",
        "\n  application: org.example.silent.handler\n", "/bin/silent-handler\n",
        "\n    metadata: http://tizen.org/iot/metadata/qor/command-handler = res/handler.yaml\n",
        "\n    request type: silence.keep\n"}) {
    EXPECT_THAT(text, HasSubstr(line));
  }
  const std::string json = Qor({"package", "show", "org.example.silent", "--json"}).output;
  EXPECT_THAT(
      json,
      StartsWith("{\"package\":\"org.example.silent\",\"version\":\"1.0.0\",\"rootPath\":\""));
  EXPECT_THAT(json, HasSubstr("\"requestTypes\":[\"silence.keep\"],\"priority\":"));
  EXPECT_THAT(
      Qor({"package", "list", "--json"}).output,
      StartsWith(
          "[{\"package\":\"org.example.silent\",\"version\":\"1.0.0\",\"preloaded\":false,"));
}

TEST_F(ToolPackages, HandlersPrintsPriorities) {
  Install("text");
  Install("text-preferred");
  EXPECT_THAT(
      Qor({"handlers"}).output,
      StartsWith("org.example.preferred.handler 50 text.upper\norg.example.text.handler 10 text."));
  EXPECT_THAT(Qor({"handlers", "--json"}).output,
              StartsWith("[{\"appId\":\"org.example.preferred.handler\",\"requestTypes\":"
                         "[\"text.upper\"],\"priority\":50},"));
}

TEST_F(ToolPackages, HandlersWatchPrintsChanges) {
  Install("silent");
  LiveProcess watch({BuildFolder() + "/tools/qor/qor", "handlers", "--watch"});
  LiveProcess json({BuildFolder() + "/tools/qor/qor", "handlers", "--watch", "--json"});
  EXPECT_TRUE(watch.AwaitOutput("present org.example.silent.handler "));
  EXPECT_TRUE(json.AwaitOutput("{\"change\":\"present\",\"appId\":\"org.example.silent.handler\""));
  Install("text-preferred");
  EXPECT_TRUE(watch.AwaitOutput("\nadded org.example.preferred.handler 50 text.upper\n"));
  Install("text-preferred");
  EXPECT_TRUE(watch.AwaitOutput("\nupdated org.example.preferred.handler 50 text.upper\n"));
  Uninstall("org.example.preferred");
  EXPECT_TRUE(watch.AwaitOutput("\nremoved org.example.preferred.handler - text.upper\n"));
  EXPECT_TRUE(
      json.AwaitOutput("{\"change\":\"removed\",\"appId\":\"org.example.preferred.handler\","
                       "\"requestTypes\":[\"text.upper\"]}\n"));
  for (LiveProcess* process : {&watch, &json}) {
    process->Interrupt();
    EXPECT_EQ(process->AwaitEnd(), 0) << process->Errors();
  }
}

TEST_F(ToolPackages, ExplainPrintsTheServingHandlerAndOtherCandidates) {
  Install("text");
  Install("text-preferred");
  const auto run = Qor({"explain", "text.upper"});
  EXPECT_EQ(run.exit_status, 0);
  EXPECT_THAT(run.output, StartsWith("text.upper is served by org.example.preferred.handler\n"));
  EXPECT_THAT(run.output, HasSubstr("priority 50: declared as 50"));
  EXPECT_THAT(run.output, HasSubstr("2. org.example.text.handler\n"));
  EXPECT_THAT(run.output, HasSubstr("after org.example.preferred.handler: higher priority"));
  EXPECT_THAT(Qor({"send", "text.upper", "\"x\""}).output,
              HasSubstr("\"by\":\"org.example.preferred.handler\""));
}

TEST_F(ToolPackages, ExplainPrefersTheSmallerIdForEqualPriorities) {
  Install("text-preferred");
  const auto copy = CopyOf("text-preferred");
  copy.Replace("org.example.preferred", "org.example.earlier");
  ASSERT_EQ(Qor({"package", "install", copy.Path()}).exit_status, 0);
  const auto run = Qor({"explain", "text.upper"});
  EXPECT_THAT(run.output, StartsWith("text.upper is served by org.example.earlier.handler\n"));
  EXPECT_THAT(run.output,
              HasSubstr("after org.example.earlier.handler: same priority, smaller id"));
  EXPECT_THAT(Qor({"send", "text.upper", "\"x\""}).output,
              HasSubstr("\"by\":\"org.example.earlier.handler\""));
}

TEST_F(ToolPackages, ExplainPrintsExcludedApplicationsWithReasons) {
  const auto copy = CopyOf("text");
  copy.Write("res/handler.yaml", "# types\nrequest_types:\n  - text.upper\n");
  ASSERT_EQ(Qor({"package", "install", copy.Path()}).exit_status, 0);
  const auto run = Qor({"explain", "text.upper"});
  EXPECT_EQ(run.exit_status, 5);
  EXPECT_THAT(run.output, StartsWith("no handler serves text.upper\n"));
  EXPECT_THAT(
      run.output,
      HasSubstr("/res/handler.yaml:2: request_types: unknown key (expected \"request-types\")\n"));
  const auto json = Qor({"explain", "text.upper", "--json"});
  EXPECT_THAT(json.output,
              StartsWith("{\"type\":\"text.upper\",\"servedBy\":null,\"candidates\":[],"
                         "\"excluded\":[{\"appId\":\"org.example.text.handler\","));
  EXPECT_THAT(json.output, HasSubstr("\"line\":2,\"key\":\"request_types\",\"hint\":"));
}

TEST_F(ToolPackages, ExplainReportsAFailedLookUp) {
  std::ofstream(Root() + "/packages.db") << std::string(5000, 'x');
  const auto explained = Qor({"explain", "text.upper"});
  EXPECT_EQ(explained.exit_status, 1);
  EXPECT_THAT(explained.errors, HasSubstr(Root() + "/packages.db"));
  EXPECT_THAT(explained.errors, HasSubstr("the library has no handlers when"));
  std::filesystem::remove(Root() + "/packages.db");
}

}  // namespace
}  // namespace end_to_end
