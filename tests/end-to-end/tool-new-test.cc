// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "end-to-end-test.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class ToolNew : public EndToEndTest {
 protected:
  ToolNew() { fs::current_path(Root()); }
  ~ToolNew() override { fs::current_path("/"); }

  // Runs `qor new`, which must fail and leave nothing behind.
  tools::ProcessResult Refused(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "new");
    const fs::path folder = fs::path(Root()) / "refused";
    fs::create_directory(folder);
    fs::current_path(folder);
    const auto run = Qor(arguments);
    EXPECT_NE(run.exit_status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(fs::is_empty(folder)) << fs::directory_iterator(folder)->path();
    return run;
  }
};

TEST_F(ToolNew, PrintsTheCreatedFiles) {
  const auto text = Qor({"new", "org.example.volume", "volume.get"});
  EXPECT_EQ(text.exit_status, 0) << text.errors;
  EXPECT_THAT(text.output, HasSubstr("org.example.volume/CMakeLists.txt\n"));
  EXPECT_TRUE(fs::exists("org.example.volume/CMakeLists.txt"));
  EXPECT_EQ(Qor({"new", "p", "t", "--json"}).output,
            "{\"package\":\"p\",\"appId\":\"p.handler\",\"files\":[\"p/CMakeLists.txt\","
            "\"p/main.cc\",\"p/package/tizen-manifest.xml\",\"p/package/res/handler.yaml\"]}\n");
}

TEST_F(ToolNew, RefusesInvalidIds) {
  for (const char* id : {"", ".p", "a/b", "a b", "host.p"}) {
    const auto run = Refused({id, "t"});
    EXPECT_EQ(run.exit_status, 2);
    EXPECT_THAT(run.errors, HasSubstr("not a package id: \"" + std::string(id) + "\"\n"));
  }
  EXPECT_THAT(Refused({std::string(50, 'p'), "t"}).errors, HasSubstr("not a package id"));
}

TEST_F(ToolNew, RefusesRequestTypesThatCheckWouldReport) {
  EXPECT_THAT(Refused({"p", "t", ""}).errors, HasSubstr("empty request type"));
  EXPECT_THAT(Refused({"p", "t", "t"}).errors, HasSubstr("duplicate request type \"t\""));
  EXPECT_THAT(Refused({"p", "t\nu"}).errors, HasSubstr("contains control characters"));
  EXPECT_THAT(Refused({"p", "\xff"}).errors, HasSubstr("invalid UTF-8"));
  EXPECT_EQ(Refused({"p", ""}).exit_status, 2);
}

TEST_F(ToolNew, LeavesAnExistingFileOrFolderAlone) {
  fs::create_directory("empty");
  fs::create_directory_symlink("nowhere", "link");
  std::ofstream("file") << "kept";
  for (const std::string name : {"empty", "link", "file"}) {
    const auto run = Qor({"new", name, "t"});
    EXPECT_EQ(run.exit_status, 1);
    EXPECT_THAT(run.errors, HasSubstr("qor: " + name + ": already exists\n"));
  }
  EXPECT_TRUE(fs::is_empty("empty"));
  EXPECT_TRUE(fs::is_symlink("link"));
  EXPECT_EQ(fs::file_size("file"), 4u);
}

TEST_F(ToolNew, LeavesNothingWhenAFileCannotBeWritten) {
  fs::create_directory("limited");
  const auto run =
      tools::RunProcess({"sh", "-c", "cd limited; trap '' XFSZ; ulimit -f 0; exec \"$@\"", "sh",
                         BuildFolder() + "/tools/qor/qor", "new", "p", "t"},
                        kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors, HasSubstr("File too large"));
  EXPECT_TRUE(fs::is_empty("limited"));
}

}  // namespace
}  // namespace end_to_end
