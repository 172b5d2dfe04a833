// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <filesystem>
#include <fstream>

#include "end-to-end-test.h"

namespace end_to_end {
namespace {

class Tool : public EndToEndTest {};

TEST_F(Tool, SendsACommandAndPrintsItsResult) {
  Install("text");
  const auto run = Qor({"send", "text.echo", R"({"a":1})"});
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "{\"a\":1}\n");
}

TEST_F(Tool, ReturnsThreeForAHandlersError) {
  Install("text");
  const auto run = Qor({"send", "text.reject"});
  EXPECT_EQ(run.exit_status, 3);
  EXPECT_NE(run.errors.find("this handler refuses"), std::string::npos) << run.errors;
}

TEST_F(Tool, ReturnsFourForATimeout) {
  Install("text");
  EXPECT_EQ(Qor({"send", "text.forget", "--deadline", "2"}).exit_status, 4);
}

TEST_F(Tool, ReturnsFiveForAnUnsupportedType) {
  const auto run = Qor({"send", "no.such.type"});
  EXPECT_EQ(run.exit_status, 5);
  EXPECT_EQ(run.errors,
            "qor: no handler serves no.such.type\n  \"qor explain no.such.type\" says why\n");
}

TEST_F(Tool, NamesTheNearestRequestType) {
  Install("text");
  EXPECT_EQ(Qor({"send", "text.uper", "1"}).errors,
            "qor: no handler serves text.uper\n"
            "  did you mean text.upper? \"qor explain text.uper\" says why\n");
}

TEST_F(Tool, PrintsJsonOfTextsThatAreNot) {
  Install("text");
  for (const auto& [payload, text] : {std::pair{"\"a\\nb\"", "\"A\\nB\""},
                                      {"plain \"x\"", "\"PLAIN \\\"X\\\"\""},
                                      {"{}", "\"{}\""}}) {
    EXPECT_EQ(Qor({"send", "text.upper", payload}).output,
              std::string("{\"text\":") + text + ",\"by\":\"org.example.text.handler\"}\n");
  }
}

TEST_F(Tool, ReturnsSixForAFailedLaunch) {
  Install("text");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(Root() + "/packages")) {
    if (entry.path().filename() == "text-handler") std::filesystem::remove(entry.path());
  }
  EXPECT_EQ(Qor({"send", "text.echo", "1", "--deadline", "0.5"}).exit_status, 6);
}

TEST_F(Tool, ListsPackagesAndHandlers) {
  Install("silent");
  EXPECT_EQ(Qor({"package", "list"}).output, "org.example.silent 1.0.0\n");
  EXPECT_EQ(Qor({"handlers"}).output, "org.example.silent.handler 10 silence.keep\n");
}

TEST_F(Tool, ReportsARootFolderThatCannotBeWritten) {
  const std::string file = Root() + "/a-file";
  std::ofstream(file) << "in the way";
  setenv("QOR_PLATFORM_ROOT", (file + "/root").c_str(), 1);
  const auto run = Qor({"package", "install", Packages() + "/text"});
  setenv("QOR_PLATFORM_ROOT", Root().c_str(), 1);
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_NE(run.errors.find(file + "/root"), std::string::npos) << run.errors;
}

}  // namespace
}  // namespace end_to_end
