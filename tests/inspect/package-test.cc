// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/package.h"

#include <filesystem>

#include "inspect/explanation.h"
#include "scratch.h"

namespace tools::inspect {
namespace {

constexpr char kKey[] = "http://tizen.org/iot/metadata/qor/command-handler";
constexpr char kPriority[] = "http://tizen.org/iot/metadata/qor/priority";
using Metadata = std::vector<std::pair<std::string, std::string>>;

class Packages : public ScratchTest {
 protected:
  // One application, all of whose files are there; metadata from line 3 of its manifest on.
  Application Inspect(const Metadata& metadata) {
    std::string manifest = "<manifest>\n<service-application appid=\"app\">\n";
    for (const auto& [key, value] : metadata) {
      manifest += "<metadata key=\"" + key + "\" value=\"" + value + "\"/>\n";
    }
    Write("pkg/tizen-manifest.xml",
          manifest + "</service-application>\n<privileges/>\n</manifest>");
    Write("pkg/bin/app", "", true);
    Write("pkg/res/handler.yaml", "request-types: [a]");
    platform::ApplicationRecord application;
    application.id = "app";
    application.executable = Folder() + "/pkg/bin/app";
    application.metadata = metadata;
    record_.id = "pkg";
    record_.root_path = Folder() + "/pkg";
    record_.applications = {application};
    return InspectAgain();
  }
  Application InspectAgain() { return InspectPackage(record_, "pkg").applications.at(0); }

  static std::string Text(const std::vector<Finding>& findings) {
    std::string text;
    for (const auto& finding : findings) text += ToText(finding) + "\n";
    return text;
  }

  platform::PackageRecord record_ = [] {
    platform::PackageRecord record;
    record.privileges = {"http://tizen.org/privilege/datasharing",
                         "http://tizen.org/privilege/appmanager.launch"};
    return record;
  }();
};

TEST_F(Packages, AreSoundWhenNothingIsWrong) {
  const auto application = Inspect({{kKey, "res/handler.yaml"}, {kPriority, "10"}});
  EXPECT_EQ(application.request_types, std::set<std::string>{"a"});
  EXPECT_EQ(Text(application.Problems()), "");
  EXPECT_EQ(application.priority.Value(), 10);
}

TEST_F(Packages, WithoutAnyKeyAreNoHandlersAndNoProblem) {
  const auto application = Inspect({{"http://example.org/other", "x"}});
  EXPECT_FALSE(application.is_handler);
  EXPECT_EQ(Text(application.Problems()), "");
}

TEST_F(Packages, NameAKeyThatWasMeantOtherwise) {
  for (const std::string& slip : {std::string("http://tizen.org/iot/metadata/qor/command_handler"),
                                  std::string("http://tizen.org/metadata/qor/command-handler"),
                                  std::string("command-handler")}) {
    EXPECT_EQ(Text(Inspect({{"other", "x"}, {slip, "res/handler.yaml"}}).errors),
              "pkg/tizen-manifest.xml:4: " + slip + ": this key is not \"" + kKey + "\"\n");
  }
  const auto application =
      Inspect({{kKey, "res/handler.yaml"}, {"http://tizen.org/iot/metadata/qor/prioritty", "9"}});
  EXPECT_EQ(
      Text(application.warnings),
      "pkg/tizen-manifest.xml:4: http://tizen.org/iot/metadata/qor/prioritty: this key is not \"" +
          std::string(kPriority) + "\"\n");
}

TEST_F(Packages, NameAConfigurationFileThatIsNotThere) {
  EXPECT_EQ(Text(Inspect({{kKey, "res/handlers.yaml"}}).errors),
            "pkg/tizen-manifest.xml:3: " + std::string(kKey) +
                ": the configuration file res/handlers.yaml does not exist\n");
  EXPECT_EQ(Text(Inspect({{kKey, ""}}).errors), "pkg/tizen-manifest.xml:3: " + std::string(kKey) +
                                                    ": the value names no configuration file\n");
}

TEST_F(Packages, NameAMissingPrivilege) {
  record_.privileges.pop_back();
  EXPECT_EQ(
      Text(Inspect({{kKey, "res/handler.yaml"}}).runtime_errors),
      "pkg/tizen-manifest.xml:5: http://tizen.org/privilege/appmanager.launch: its connection "
      "is rejected: a privilege is missing\n");
}

TEST_F(Packages, NameAMissingExecutable) {
  Inspect({{kKey, "res/handler.yaml"}});
  std::filesystem::remove(Folder() + "/pkg/bin/app");
  EXPECT_EQ(Text(InspectAgain().runtime_errors),
            "pkg/bin/app: it cannot be launched: the executable is missing\n");
}

TEST_F(Packages, SayWhereAPriorityComesFrom) {
  const auto reason = [this](const Metadata& more) {
    Metadata metadata = {{kKey, "res/handler.yaml"}};
    metadata.insert(metadata.end(), more.begin(), more.end());
    const auto priority = Inspect(metadata).priority;
    return std::to_string(priority.Value()) + ": " + priority.Reason();
  };
  EXPECT_EQ(reason({{kPriority, "7"}}), "7: declared as 7");
  EXPECT_EQ(reason({{kPriority, "250"}}), "100: declared as 250, which counts as 100");
  EXPECT_EQ(reason({{kPriority, "-7"}}), "1: declared as -7, which counts as 1");
  EXPECT_EQ(reason({}), "0: none is declared, which counts as 0");
  EXPECT_EQ(reason({{kPriority, "high"}}),
            "0: declared as \"high\", which is no number and counts as 0");
  record_.preload = true;
  EXPECT_EQ(reason({}),
            "101: none is declared, which counts as 0, and 101 for a preloaded package");
}

TEST_F(Packages, NameATypeThatIsNearlyTheOneAskedFor) {
  const std::vector<Package> packages = {{record_, {Inspect({{kKey, "res/handler.yaml"}})}}};
  EXPECT_TRUE(Explain(packages, "b.else").excluded.empty());
  Write("pkg/res/handler.yaml", "request-types:\n  - text.Upper");
  const auto explanation = Explain({{record_, {InspectAgain()}}}, "text.upper");
  EXPECT_TRUE(explanation.candidates.empty());
  ASSERT_EQ(explanation.excluded.size(), 1u);
  EXPECT_EQ(ToText(explanation.excluded[0].reason),
            Folder() +
                "/pkg/res/handler.yaml:2: request-types: it declares \"text.Upper\", not "
                "\"text.upper\"");
}

}  // namespace
}  // namespace tools::inspect
