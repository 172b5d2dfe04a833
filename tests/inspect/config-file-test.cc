// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/config-file.h"

#include <filesystem>

#include "scratch.h"

namespace tools::inspect {
namespace {

class ConfigFiles : public ScratchTest {
 protected:
  ConfigFile Read(const std::string& text) const {
    handlers::PackageConfigs package;
    return ReadConfigFile(Write("handler.yaml", text), "pkg/handler.yaml", package);
  }
  // Expects a file without request types; returns its only error as text.
  std::string ErrorOf(const std::string& text) const {
    const ConfigFile config = Read(text);
    EXPECT_TRUE(config.request_types.empty());
    EXPECT_EQ(config.errors.size(), 1u);
    if (config.errors.empty()) return "";
    EXPECT_NE(config.errors[0].hint, "");
    return ToText(config.errors[0]);
  }
};

TEST_F(ConfigFiles, ReturnEachTypeOnce) {
  const ConfigFile config = Read("request-types:\n  - b\n  - a\n  - b\n  -\n");
  EXPECT_EQ(config.request_types, (std::set<std::string>{"a", "b", "null"}));
  EXPECT_TRUE(config.errors.empty());
}

TEST_F(ConfigFiles, SuggestTheMisspelledKey) {
  EXPECT_EQ(ErrorOf("version: 1\nrequest_types:\n  - a\n"),
            "pkg/handler.yaml:2: request_types: unknown key (expected \"request-types\")");
}

TEST_F(ConfigFiles, ReportAMissingKey) {
  EXPECT_EQ(ErrorOf("types: [a]\n"), "pkg/handler.yaml:1: missing key \"request-types\"");
  EXPECT_EQ(ErrorOf("- a\n"),
            "pkg/handler.yaml:1: expected a mapping with the key \"request-types\"");
  EXPECT_EQ(ErrorOf(""), "pkg/handler.yaml:1: expected a mapping with the key \"request-types\"");
}

TEST_F(ConfigFiles, ReportTheLineOfInvalidYaml) {
  EXPECT_EQ(
      ErrorOf("request-types:\n  - a\n  - [b\n").rfind("pkg/handler.yaml:4: invalid YAML: ", 0),
      0u);
}

TEST_F(ConfigFiles, ReportAValueThatIsNotAList) {
  EXPECT_EQ(ErrorOf("# types\nrequest-types: a\n"),
            "pkg/handler.yaml:2: request-types: not a list");
  EXPECT_EQ(ErrorOf("request-types:\n  - a\n  - {b: c}\n"),
            "pkg/handler.yaml:3: request-types: list item is not a string");
  EXPECT_EQ(ErrorOf("request-types: []\n"), "pkg/handler.yaml:1: request-types: empty list");
}

TEST_F(ConfigFiles, ReportAFileBeyondTheSizeLimit) {
  EXPECT_EQ(ErrorOf(std::string((1 << 20) + 1, '#')),
            "pkg/handler.yaml: the file exceeds 1048576 bytes");
  std::string multiplied = "x: &x " + std::string(1 << 19, 'x') + "\nrequest-types: [*x, *x, *x]\n";
  EXPECT_EQ(ErrorOf(multiplied), "pkg/handler.yaml: the request types exceed 1048576 bytes");
}

TEST_F(ConfigFiles, ReportAFileBeyondTheWeightLimit) {
  const std::string too_much =
      "pkg/handler.yaml: the configuration files of the package exceed the parse cost limit of "
      "1114112 (1 per byte and 32 per line or indicator)";
  EXPECT_EQ(ErrorOf("request-types: [" + std::string(40'000, ',') + "]"), too_much);
  // The weight of all applications of a package counts.
  handlers::PackageConfigs package;
  const std::string path =
      Write("handler.yaml", "request-types: [" + std::string(20'000, ',') + "]");
  EXPECT_FALSE(ReadConfigFile(path, "pkg/handler.yaml", package).request_types.empty());
  const ConfigFile second = ReadConfigFile(path, "pkg/handler.yaml", package);
  EXPECT_TRUE(second.request_types.empty());
  ASSERT_EQ(second.errors.size(), 1u);
  EXPECT_EQ(ToText(second.errors[0]), too_much);
}

TEST_F(ConfigFiles, ReportTheLineOfAnEmptyItemBeforeComments) {
  const ConfigFile config =
      Read("request-types:\n  - a\n  - #" + std::string(500'000, '#') + "\n  # more\n\n");
  ASSERT_EQ(config.warnings.size(), 1u);
  EXPECT_EQ(config.warnings[0].location.line, 3);
}

TEST_F(ConfigFiles, WarnOfTypesThatAreProbablyMistakes) {
  const ConfigFile config = Read(
      "request-types:\n  - ''\n  - two words\n  - 12\n  - yes\n  - '12.5'\n  - a.b\n  - ' c'\n");
  EXPECT_EQ(config.request_types.size(), 7u);
  std::string warnings;
  for (const Finding& warning : config.warnings) warnings += ToText(warning) + "\n";
  EXPECT_EQ(warnings,
            "pkg/handler.yaml:2: request-types: empty request type\n"
            "pkg/handler.yaml:3: request-types: \"two words\" contains spaces\n"
            "pkg/handler.yaml:4: request-types: \"12\" is a number or a boolean, not a string\n"
            "pkg/handler.yaml:5: request-types: \"yes\" is a number or a boolean, not a string\n"
            "pkg/handler.yaml:8: request-types: \" c\" contains spaces\n");
}

TEST_F(ConfigFiles, HintAtTabs) {
  const ConfigFile config = Read("request-types:\n  - a\n\t- b\n");
  ASSERT_EQ(config.errors.size(), 1u);
  EXPECT_EQ(config.errors[0].hint, "indent with spaces: line 3 begins with a tab");
  EXPECT_EQ(Read("request-types:\n  - [a\n").errors.at(0).hint, "fix the syntax");
}

TEST_F(ConfigFiles, ReportAFolder) {
  std::filesystem::create_directory(Folder() + "/folder");
  handlers::PackageConfigs package;
  const auto config = ReadConfigFile(Folder() + "/folder", "folder", package);
  ASSERT_EQ(config.errors.size(), 1u);
  EXPECT_EQ(ToText(config.errors[0]), "folder: is a folder (expected a configuration file)");
}

TEST_F(ConfigFiles, FindTheLineOfAType) {
  const std::string path = Write("handler.yaml", "request-types:\n  - a\n  - b\n");
  EXPECT_EQ(LineOfRequestType(path, "b"), 3);
  EXPECT_EQ(LineOfRequestType(path, "c"), 0);
  EXPECT_EQ(LineOfRequestType(path + ".missing", "a"), 0);
}

}  // namespace
}  // namespace tools::inspect
