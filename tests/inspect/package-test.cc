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
  // Inspects one application with all its files; its metadata begins on line 3 of the manifest.
  Application Inspect(const Metadata& metadata) {
    std::string manifest = "<manifest>\n<service-application appid=\"app\">\n";
    for (const auto& [key, value] : metadata) {
      manifest += "<metadata key=\"" + key + "\" value=\"" + value + "\"/>\n";
    }
    Write("pkg/tizen-manifest.xml",
          manifest + "</service-application>\n<privileges/>\n</manifest>");
    Write("pkg/bin/app", "", true);
    std::filesystem::copy_file("/bin/true", Folder() + "/pkg/bin/app",
                               std::filesystem::copy_options::overwrite_existing);
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

TEST_F(Packages, HaveNoProblemsWhenValid) {
  const auto application = Inspect({{kKey, "res/handler.yaml"}, {kPriority, "10"}});
  EXPECT_EQ(application.request_types, std::set<std::string>{"a"});
  EXPECT_EQ(Text(application.Problems()), "");
  EXPECT_EQ(application.priority.Value(), 10);
}

TEST_F(Packages, WarnOfATypeOfTwoApplications) {
  Inspect({{kKey, "res/handler.yaml"}});
  record_.applications.push_back(record_.applications[0]);
  record_.applications[1].id = "other";
  const auto applications = InspectPackage(record_, "pkg").applications;
  EXPECT_EQ(Text(applications.at(0).warnings), "");
  EXPECT_EQ(Text(applications.at(1).warnings),
            "pkg/res/handler.yaml:1: request-types: \"a\" is also declared by app: only one of the "
            "two is selected\n");
}

TEST_F(Packages, WarnOfAnotherXmlNamespace) {
  Inspect({});
  const std::string begin = "pkg/tizen-manifest.xml:2: xmlns: ";
  const auto warnings = [this](const std::string& attribute) {
    Write("pkg/tizen-manifest.xml", "<?xml version=\"1.0\"?>\n<manifest " + attribute + "/>");
    return Text(InspectPackage(record_, "pkg").warnings);
  };
  EXPECT_EQ(warnings("xmlns=\"http://tizen.org/ns/packages\""), "");
  EXPECT_EQ(warnings("xmlns=\"http://tizen.org/ns/widgets\""),
            begin + "wrong XML namespace \"http://tizen.org/ns/widgets\"\n");
  EXPECT_EQ(warnings(""), begin + "no XML namespace\n");
}

TEST_F(Packages, NameTheConfigurationFileThatIsThere) {
  const auto application = Inspect({{kKey, "res/handlers.yml"}});
  ASSERT_EQ(application.errors.size(), 1u);
  EXPECT_EQ(application.errors[0].hint, "did you mean res/handler.yaml?");
}

TEST_F(Packages, WithoutAKeyAreNoHandlersAndHaveNoProblems) {
  const auto application = Inspect({{"http://example.org/other", "x"}});
  EXPECT_FALSE(application.is_handler);
  EXPECT_EQ(Text(application.Problems()), "");
}

TEST_F(Packages, ReportAMisspelledKey) {
  for (const std::string& slip : {std::string("http://tizen.org/iot/metadata/qor/command_handler"),
                                  std::string("http://tizen.org/metadata/qor/command-handler"),
                                  std::string("command-handler")}) {
    EXPECT_EQ(Text(Inspect({{"other", "x"}, {slip, "res/handler.yaml"}}).errors),
              "pkg/tizen-manifest.xml:4: " + slip + ": unknown key (expected \"" + kKey + "\")\n");
  }
  const auto application =
      Inspect({{kKey, "res/handler.yaml"}, {"http://tizen.org/iot/metadata/qor/prioritty", "9"}});
  EXPECT_EQ(Text(application.warnings),
            "pkg/tizen-manifest.xml:4: http://tizen.org/iot/metadata/qor/prioritty: unknown key "
            "(expected \"" +
                std::string(kPriority) + "\")\n");
}

TEST_F(Packages, ReportAMissingConfigurationFile) {
  EXPECT_EQ(Text(Inspect({{kKey, "res/handlers.yaml"}}).errors),
            "pkg/tizen-manifest.xml:3: " + std::string(kKey) +
                ": configuration file res/handlers.yaml does not exist\n");
  EXPECT_EQ(Text(Inspect({{kKey, ""}}).errors),
            "pkg/tizen-manifest.xml:3: " + std::string(kKey) +
                ": empty value (expected a configuration file)\n");
}

TEST_F(Packages, ReportAMissingPrivilege) {
  record_.privileges.pop_back();
  EXPECT_EQ(Text(Inspect({{kKey, "res/handler.yaml"}}).runtime_errors),
            "pkg/tizen-manifest.xml:5: http://tizen.org/privilege/appmanager.launch: missing "
            "privilege, connections are rejected\n");
}

TEST_F(Packages, ReportAMissingExecutable) {
  Inspect({{kKey, "res/handler.yaml"}});
  std::filesystem::remove(Folder() + "/pkg/bin/app");
  EXPECT_EQ(Text(InspectAgain().runtime_errors),
            "pkg/bin/app: cannot be launched: missing executable\n");
}

TEST_F(Packages, ExplainThePriority) {
  const auto reason = [this](const Metadata& more) {
    Metadata metadata = {{kKey, "res/handler.yaml"}};
    metadata.insert(metadata.end(), more.begin(), more.end());
    const auto priority = Inspect(metadata).priority;
    return std::to_string(priority.Value()) + ": " + priority.Reason();
  };
  EXPECT_EQ(reason({{kPriority, "7"}}), "7: declared as 7");
  EXPECT_EQ(reason({{kPriority, "250"}}), "100: declared as 250, limited to 100");
  EXPECT_EQ(reason({{kPriority, "-7"}}), "1: declared as -7, limited to 1");
  EXPECT_EQ(reason({}), "0: not declared, default 0");
  EXPECT_EQ(reason({{kPriority, "high"}}), "0: declared as \"high\", not a number, default 0");
  record_.preload = true;
  EXPECT_EQ(reason({}), "101: not declared, default 0, plus 101 for a preloaded package");
}

TEST_F(Packages, ReportASimilarRequestType) {
  const std::vector<Package> packages = {{record_, {Inspect({{kKey, "res/handler.yaml"}})}}};
  EXPECT_TRUE(Explain(packages, "b.else").excluded.empty());
  Write("pkg/res/handler.yaml", "request-types:\n  - text.Upper");
  const auto explanation = Explain({{record_, {InspectAgain()}}}, "text.upper");
  EXPECT_TRUE(explanation.candidates.empty());
  ASSERT_EQ(explanation.excluded.size(), 1u);
  EXPECT_EQ(ToText(explanation.excluded[0].reason),
            Folder() +
                "/pkg/res/handler.yaml:2: request-types: declares \"text.Upper\", not "
                "\"text.upper\"");
}

}  // namespace
}  // namespace tools::inspect
