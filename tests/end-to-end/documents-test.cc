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

TEST_F(Documents, ShowAHandlerInTheReadmeAndInTheHeaderThatIsTheOneInTheExamplesFolder) {
  const std::string example = Source("examples/greet-handler/main.cc");
  ASSERT_FALSE(example.empty());
  EXPECT_NE(Source("README.md").find("```cpp\n" + example + "```"), std::string::npos);
  std::string comment;
  std::istringstream lines(example);
  for (std::string line; std::getline(lines, line);) {
    comment += line.empty() ? "///\n" : "///   " + line + "\n";
  }
  EXPECT_NE(Source("handler/include/qor/handler.h").find(comment), std::string::npos);
}

TEST_F(Documents, ShowAnExampleInTheReadmeThatWorks) {
  Install("text");
  const auto run = tools::RunProcess({BuildFolder() + "/examples/send"}, kPatienceSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "command-1: 0 {\"text\":\"HELLO\",\"by\":\"org.example.text.handler\"}\n");
}

TEST_F(Documents, ShowWordsToTypeInTheReadmeThatWork) {
  const std::string readme = Source("README.md");
  const auto title = readme.find("## By hand");
  const auto begin = readme.find("```sh\n", title) + 6;
  std::string words = readme.substr(begin, readme.find("```", begin) - begin);
  const std::string folder = "build/release";
  for (auto at = words.find(folder); at != std::string::npos; at = words.find(folder, at)) {
    words.replace(at, folder.size(), BuildFolder());
    at += BuildFolder().size();
  }
  const auto run = tools::RunProcess({"bash", "-eu", "-c", words + "rm -rf $QOR_PLATFORM_ROOT"},
                                     kPatienceSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_NE(run.output.find(R"({"text":"HELLO","by":"org.example.text.handler"})"),
            std::string::npos)
      << run.output;
}

}  // namespace
}  // namespace end_to_end
