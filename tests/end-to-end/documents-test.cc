// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <fstream>
#include <sstream>

#include "end-to-end-test.h"

namespace end_to_end {
namespace {

std::string Source(const std::string& path) {
  std::ifstream file(std::string(QOR_SOURCE_FOLDER) + "/" + path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class Documents : public EndToEndTest {};

TEST_F(Documents, ShowTheExampleHandlerInTheHeader) {
  const std::string example = Source("examples/greet-handler/main.cc");
  ASSERT_FALSE(example.empty());
  std::string comment;
  std::istringstream lines(example);
  for (std::string line; std::getline(lines, line);) {
    comment += line.empty() ? "///\n" : "///   " + line + "\n";
  }
  EXPECT_NE(Source("handler/include/qor/handler.h").find(comment), std::string::npos);
}

TEST_F(Documents, ShowAWorkingExampleInTheReadme) {
  Install("text");
  // The example has its journal in the working folder.
  const auto run = tools::RunProcess(
      {"sh", "-c", "cd " + Root() + " && " + BuildFolder() + "/examples/example-agent-durable"},
      kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "text.upper: {\"text\":\"HELLO\",\"by\":\"org.example.text.handler\"}\n");
}

TEST_F(Documents, ShowAnAgentInTheGuideThatEndsUnansweredCommands) {
  Install("text");
  const auto run =
      tools::RunProcess({BuildFolder() + "/tests/end-to-end/guide-agent", Root() + "/journal.db",
                         "text.upper", "\"hello\"", "text.forget", "", "text.reject", ""},
                        kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_NE(run.output.find("text.upper succeeded: {\"text\":\"HELLO\""), std::string::npos)
      << run.output;
  EXPECT_NE(run.output.find("text.forget unknown\n"), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("text.reject failed: "), std::string::npos) << run.output;
}

}  // namespace
}  // namespace end_to_end
