// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/handler-config.h"

#include <sys/stat.h>

#include "library-test.h"

namespace {

using support::WriteFile;
using Strings = std::vector<std::string>;

class HandlerConfig : public support::PlatformTest {
 protected:
  static Strings TypesIn(const std::string& yaml) {
    return handlers::HandlerConfig::FromYaml(WriteFile("handler.yaml", yaml)).RequestTypes();
  }

  static int ErrorsFor(const std::string& path) {
    return support::CountLogged(
        DLOG_ERROR, support::ErrorLine("handler-config.cc", "FromYaml", support::kAnyLine,
                                       "Unable to parse config file: " + path));
  }

  // Expects one error line with the file's path and no other line.
  static void ExpectError() {
    EXPECT_EQ(ErrorsFor(fake::DataPath() + "handler.yaml"), 1);
    EXPECT_EQ(fake::Log().size(), 1u);
  }
};

TEST_F(HandlerConfig, ReturnsRequestTypesInFileOrder) {
  EXPECT_EQ(TypesIn("request-types:\n  - beta\n  - alpha\n"), (Strings{"beta", "alpha"}));
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(HandlerConfig, IgnoresOtherKeys) {
  EXPECT_EQ(TypesIn("version: 1\nrequest-types: [alpha]\nmore: {a: b}\n"), Strings{"alpha"});
}

TEST_F(HandlerConfig, AcceptsEmptyList) {
  EXPECT_EQ(TypesIn("request-types: []\n"), Strings{});
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(HandlerConfig, RejectsScalar) {
  EXPECT_EQ(TypesIn("request-types: alpha\n"), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, LogsPathOfMissingFile) {
  const std::string path = fake::DataPath() + "missing.yaml";
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path).RequestTypes(), Strings{});
  EXPECT_EQ(ErrorsFor(path), 1);
}

TEST_F(HandlerConfig, ReadsNullItemAsString) {
  EXPECT_EQ(TypesIn("request-types: [alpha, ~, beta]\n"), (Strings{"alpha", "null", "beta"}));
}

TEST_F(HandlerConfig, KeepsDuplicates) {
  EXPECT_EQ(TypesIn("request-types: [b, a, b]\n"), (Strings{"b", "a", "b"}));
}

TEST_F(HandlerConfig, RejectsMissingKey) {
  EXPECT_EQ(TypesIn("other: [alpha]\n"), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, RejectsNullValue) {
  EXPECT_EQ(TypesIn("request-types:\n"), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, RejectsListAtTopLevel) {
  EXPECT_EQ(TypesIn("- request-types\n- alpha\n"), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, RejectsEmptyDocument) {
  EXPECT_EQ(TypesIn(""), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, RejectsNonScalarItem) {
  EXPECT_EQ(TypesIn("request-types: [alpha, {a: b}]\n"), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, RejectsFolder) {
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(fake::DataPath()).RequestTypes(), Strings{});
  EXPECT_EQ(ErrorsFor(fake::DataPath()), 1);
}

TEST_F(HandlerConfig, RejectsPipeWithoutWaiting) {
  const std::string path = fake::DataPath() + "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path).RequestTypes(), Strings{});
  EXPECT_EQ(ErrorsFor(path), 1);
}

TEST_F(HandlerConfig, AcceptsAtMostOneMebibyte) {
  std::string yaml = "request-types: [alpha]\n#";
  yaml.resize(1 << 20, '#');
  EXPECT_EQ(TypesIn(yaml), Strings{"alpha"});
  EXPECT_EQ(TypesIn(yaml + "#"), Strings{});
  ExpectError();
}

// Texts that are expensive to parse for their size.
TEST_F(HandlerConfig, RejectsExcessiveParseCost) {
  const std::string begin = "request-types: [";
  for (const char* item : {",", "a,", "? ,", ":,", "[],", "{},", "{a: b},", "&a,", "!a ,", "\"\",",
                           "'',", "a\n", "a\r", "*,", "| ,", "> ,", "% ,"}) {
    // At least one indicator in each item.
    const std::size_t least = std::string(item).size() + handlers::kIndicatorCost;
    std::string yaml = begin;
    for (std::size_t weight = 0; weight <= handlers::kMaxParseCost; weight += least) yaml += item;
    handlers::PackageConfigs package;
    try {
      package.Load(WriteFile("handler.yaml", yaml + "]"));
      ADD_FAILURE() << item;
    } catch (const handlers::ConfigLimitError& error) {
      EXPECT_EQ(error.msg,
                "the configuration files of the package exceed the parse cost limit of 1114112 (1 "
                "per byte and 32 per line or indicator)");
    } catch (const YAML::Exception& error) {
      ADD_FAILURE() << item << ": " << error.what();
    }
    fake::ClearLog();
    EXPECT_EQ(TypesIn(yaml + "]").size(), 0u);
    ExpectError();
  }
}

TEST_F(HandlerConfig, ComputesParseCostOfBytesAndIndicators) {
  using handlers::ParseCost;
  EXPECT_EQ(ParseCost(""), 0u);
  EXPECT_EQ(ParseCost("some.type_with-dashes/#@~"), 25u);
  EXPECT_EQ(ParseCost("- a\n-\n-\tb\n"), 10u + 6 * handlers::kIndicatorCost);
  EXPECT_EQ(ParseCost("-"), 1u + handlers::kIndicatorCost);
  // Wide characters may become longer when the YAML library converts them to UTF-8.
  EXPECT_EQ(ParseCost(std::string("\xFF\xFE-\0\n\0", 6)), 2 * (6u + 2 * handlers::kIndicatorCost));
  EXPECT_EQ(ParseCost(std::string("\0a", 2)), 4u);
}

TEST_F(HandlerConfig, AcceptsThousandsOfRequestTypes) {
  std::string yaml = "request-types:\n";
  for (int i = 0; i < 5000; ++i) {
    yaml += "  - \"org.example.device/request-type:" + std::to_string(i) + "\"\n";
  }
  EXPECT_EQ(TypesIn(yaml).size(), 5000u);
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(HandlerConfig, ParsesFileOncePerPackage) {
  const std::string path = WriteFile("handler.yaml", "request-types: [alpha]\n");
  handlers::PackageConfigs package;
  EXPECT_EQ(package.Load(path).RequestTypes(), Strings{"alpha"});
  WriteFile("handler.yaml", "request-types: [beta]\n");
  EXPECT_EQ(package.Load(path).RequestTypes(), Strings{"alpha"});
  EXPECT_EQ(handlers::PackageConfigs().Load(path).RequestTypes(), Strings{"beta"});
}

TEST_F(HandlerConfig, ParsesInvalidFileOncePerPackage) {
  const std::string path = WriteFile("handler.yaml", "request-types: [alpha\n");
  handlers::PackageConfigs package;
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path, package).RequestTypes(), Strings{});
  WriteFile("handler.yaml", "request-types: [beta]\n");
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path, package).RequestTypes(), Strings{});
  EXPECT_EQ(ErrorsFor(path), 2);
}

TEST_F(HandlerConfig, RetriesUnreadableFile) {
  handlers::PackageConfigs package;
  const std::string path = fake::DataPath() + "handler.yaml";
  EXPECT_THROW(package.Load(path), YAML::Exception);
  EXPECT_EQ(package.Load(WriteFile("handler.yaml", "request-types: [alpha]\n")).RequestTypes(),
            Strings{"alpha"});
}

TEST_F(HandlerConfig, LimitsTotalParseCostOfPackage) {
  const auto weighing = [](const std::string& name, std::size_t weight) {
    std::string yaml = "request-types: [" + name + "]\n#";
    yaml.resize(weight - (handlers::ParseCost(yaml) - yaml.size()), '#');
    return WriteFile(name, yaml);
  };
  handlers::PackageConfigs package;
  const std::string half = weighing("half", handlers::kMaxParseCost / 2);
  const std::string quarter = weighing("quarter", handlers::kMaxParseCost / 4);
  const std::string more = weighing("more", handlers::kMaxParseCost / 4 + 1);
  EXPECT_EQ(package.Load(half).RequestTypes(), Strings{"half"});
  EXPECT_EQ(package.Load(quarter).RequestTypes(), Strings{"quarter"});
  EXPECT_THROW(package.Load(half), handlers::ConfigLimitError);
  EXPECT_THROW(package.Load(more), handlers::ConfigLimitError);
  EXPECT_EQ(package.Load(quarter).RequestTypes(), Strings{"quarter"});
  EXPECT_THROW(package.Load(quarter), handlers::ConfigLimitError);
  // Invalid files count as well.
  handlers::PackageConfigs invalid;
  std::string yaml = "[";
  yaml.resize(handlers::kMaxConfigBytes, '#');
  EXPECT_THROW(invalid.Load(WriteFile("invalid", yaml)), YAML::Exception);
  EXPECT_THROW(invalid.Load(quarter), handlers::ConfigLimitError);
}

TEST_F(HandlerConfig, LimitsSizeOfExpandedAliases) {
  const std::string anchor = "x: &x " + std::string(1 << 18, 'x') + "\nrequest-types: ";
  EXPECT_EQ(TypesIn(anchor + "[*x, *x, *x, *x]\n").size(), 4u);
  EXPECT_EQ(TypesIn(anchor + "[*x, *x, *x, *x, more]\n"), Strings{});
  ExpectError();
}

TEST_F(HandlerConfig, RejectsDeeplyNestedDocument) {
  for (const std::string level : {"[", "{a: ", "- ", "? "}) {
    std::string yaml = "request-types: ";
    if (level == "- " || level == "? ") yaml += "\n";
    for (int i = 0; i < 100'000; ++i) yaml += level;
    EXPECT_EQ(TypesIn(yaml), Strings{}) << level;
  }
}

TEST_F(HandlerConfig, RejectsMalformedDocument) {
  EXPECT_EQ(TypesIn("request-types: [alpha\n"), Strings{});
  ExpectError();
}

}  // namespace
