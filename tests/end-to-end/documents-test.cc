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

TEST_F(Documents, ShowAnExampleInTheReadmeThatIsTheOneInTheExamplesFolder) {
  const std::string example = Source("examples/agent/send.c");
  ASSERT_FALSE(example.empty());
  EXPECT_NE(Source("README.md").find("```c\n" + example + "```"), std::string::npos);
}

TEST_F(Documents, ShowAnExampleInTheReadmeThatWorks) {
  Install("text");
  const auto run = tools::RunProcess({BuildFolder() + "/examples/send"}, kPatienceSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "command-1: 0 {\"text\":\"HELLO\",\"by\":\"org.example.text.handler\"}\n");
}

}  // namespace
}  // namespace end_to_end
