// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <fstream>
#include <iterator>

#include "end-to-end-test.h"
#include "example-copy.h"

namespace end_to_end {
namespace {

class Examples : public EndToEndTest {};

TEST_F(Examples, GreetAnswersWithAText) {
  Install("greet");
  StartAgent();
  EXPECT_EQ(Execute("one", "greet").result, R"({"text":"hello"})");
}

TEST_F(Examples, ConfigAcceptsAConfigurationThatMatchesTheSchema) {
  Install("config");
  StartAgent();
  EXPECT_EQ(Execute("one", "config.get").result, "{}");
  const std::string configuration = R"({"network":{"host":"h","port":80},"intervals":[1,2.5]})";
  EXPECT_EQ(Execute("two", "config.set", configuration).result, configuration);
  EXPECT_EQ(Execute("three", "config.get").result, configuration);
}

TEST_F(Examples, ConfigReportsTheLocationOfAMismatch) {
  Install("config");
  StartAgent();
  const auto port = Execute("one", "config.set", R"({"network":{"host":"h","port":70000}})");
  EXPECT_EQ(port.status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_NE(port.error.find(R"("Pointer":"/network/port","Rule":"maximum")"), std::string::npos)
      << port.error;
  const auto interval =
      Execute("two", "config.set", R"({"network":{"host":"h"},"intervals":[1,"x"]})");
  EXPECT_NE(interval.error.find(R"("Pointer":"/intervals/1","Rule":"type")"), std::string::npos)
      << interval.error;
  const auto text = Execute("three", "config.set", "{");
  EXPECT_NE(text.error.find("invalid JSON at byte 1"), std::string::npos) << text.error;
  EXPECT_EQ(Execute("four", "config.get").result, "{}");
}

TEST_F(Examples, ProgressRequestsMoreTimeAndLogsProgress) {
  Install("progress");
  const std::string log = Root() + "/log";
  setenv("DLOG_FILE", log.c_str(), 1);
  setenv("DLOG_FILTER", "PROGRESS-HANDLER:I *:S", 1);
  const auto run = Qor({"send", "firmware.download", "4", "--execution-timeout", "1000"});
  unsetenv("DLOG_FILE");
  unsetenv("DLOG_FILTER");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "{\"parts\":4}\n");
  std::ifstream file(log);
  const std::string lines(std::istreambuf_iterator<char>(file), {});
  for (const char* progress : {": 25 %", ": 50 %", ": 75 %", ": 100 %"}) {
    EXPECT_NE(lines.find(progress), std::string::npos) << lines;
  }
}

TEST_F(Examples, ProgressStopsWhenAnExtensionIsRefused) {
  Install("progress");
  StartAgent().SetNegotiator([](const std::string&, const std::string&, double) { return false; });
  EXPECT_NE(Execute("one", "firmware.download", "2").error.find("extension denied"),
            std::string::npos);
}

TEST_F(Examples, ExitAtADeadlineWhenTheHandlerNeverFetches) {
  const ExampleCopy package(Packages() + "/misbehaving", Root() + "/no-fetch");
  package.Replace("misbehaving-handler", "no-fetch-handler");
  std::filesystem::rename(package.Path() + "/bin/misbehaving-handler",
                          package.Path() + "/bin/no-fetch-handler");
  ASSERT_EQ(Qor({"package", "install", package.Path()}).exit_status, 0);
  const auto run = tools::RunProcess(
      {BuildFolder() + "/examples/example-agent", "misbehaving.text"}, kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_NE(run.errors.find("no response within 10 s\n"), std::string::npos) << run.errors;
}

}  // namespace
}  // namespace end_to_end
