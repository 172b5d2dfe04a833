// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/handler-config.h"

#include <sys/stat.h>

#include "library-test.h"

namespace {

using support::WriteFile;
using Texts = std::vector<std::string>;

class HandlerConfig : public support::PlatformTest {
 protected:
  static Texts TypesIn(const std::string& yaml) {
    return handlers::HandlerConfig::FromYaml(WriteFile("handler.yaml", yaml)).RequestTypes();
  }

  static int ErrorsFor(const std::string& path) {
    return support::CountLogged(
        DLOG_ERROR, support::ErrorLine("handler-config.cc", "FromYaml", support::kAnyLine,
                                       "Unable to parse config file: " + path));
  }

  // Nothing but the one error line that names the file.
  static void ExpectError() {
    EXPECT_EQ(ErrorsFor(fake::DataPath() + "handler.yaml"), 1);
    EXPECT_EQ(fake::Log().size(), 1u);
  }
};

TEST_F(HandlerConfig, ListsRequestTypesInFileOrder) {
  EXPECT_EQ(TypesIn("request-types:\n  - beta\n  - alpha\n"), (Texts{"beta", "alpha"}));
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(HandlerConfig, IgnoresOtherKeys) {
  EXPECT_EQ(TypesIn("version: 1\nrequest-types: [alpha]\nmore: {a: b}\n"), Texts{"alpha"});
}

TEST_F(HandlerConfig, TakesAnEmptyListWithoutAnError) {
  EXPECT_EQ(TypesIn("request-types: []\n"), Texts{});
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(HandlerConfig, RefusesASingleText) {
  EXPECT_EQ(TypesIn("request-types: alpha\n"), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, NamesAMissingFileInTheLog) {
  const std::string path = fake::DataPath() + "missing.yaml";
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path).RequestTypes(), Texts{});
  EXPECT_EQ(ErrorsFor(path), 1);
}

TEST_F(HandlerConfig, TakesANullItemAsAText) {
  EXPECT_EQ(TypesIn("request-types: [alpha, ~, beta]\n"), (Texts{"alpha", "null", "beta"}));
}

TEST_F(HandlerConfig, KeepsEqualItems) {
  EXPECT_EQ(TypesIn("request-types: [b, a, b]\n"), (Texts{"b", "a", "b"}));
}

TEST_F(HandlerConfig, RefusesAMissingKey) {
  EXPECT_EQ(TypesIn("other: [alpha]\n"), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, RefusesANullValue) {
  EXPECT_EQ(TypesIn("request-types:\n"), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, RefusesADocumentThatIsAList) {
  EXPECT_EQ(TypesIn("- request-types\n- alpha\n"), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, RefusesAnEmptyDocument) {
  EXPECT_EQ(TypesIn(""), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, RefusesAnItemThatIsNoScalar) {
  EXPECT_EQ(TypesIn("request-types: [alpha, {a: b}]\n"), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, RefusesAFolder) {
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(fake::DataPath()).RequestTypes(), Texts{});
  EXPECT_EQ(ErrorsFor(fake::DataPath()), 1);
}

TEST_F(HandlerConfig, WaitsForNobodyWhoMayWriteToAPipe) {
  const std::string path = fake::DataPath() + "pipe";
  ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path).RequestTypes(), Texts{});
  EXPECT_EQ(ErrorsFor(path), 1);
}

TEST_F(HandlerConfig, TakesAMebibyteAndNoMore) {
  std::string yaml = "request-types: [alpha]\n#";
  yaml.resize(1 << 20, '#');
  EXPECT_EQ(TypesIn(yaml), Texts{"alpha"});
  EXPECT_EQ(TypesIn(yaml + "#"), Texts{});
  ExpectError();
}

// Files of which the YAML library takes long for each byte.
TEST_F(HandlerConfig, DoesNotParseWhatWeighsTooMuch) {
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
    } catch (const handlers::ConfigLimitError& refusal) {
      EXPECT_EQ(refusal.msg,
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

TEST_F(HandlerConfig, WeighsBytesAndIndicators) {
  using handlers::ParseCost;
  EXPECT_EQ(ParseCost(""), 0u);
  EXPECT_EQ(ParseCost("some.type_with-dashes/#@~"), 25u);
  EXPECT_EQ(ParseCost("- a\n-\n-\tb\n"), 10u + 6 * handlers::kIndicatorCost);
  EXPECT_EQ(ParseCost("-"), 1u + handlers::kIndicatorCost);
  // A wide character is more than one byte of the text that the YAML library makes of it.
  EXPECT_EQ(ParseCost(std::string("\xFF\xFE-\0\n\0", 6)), 2 * (6u + 2 * handlers::kIndicatorCost));
  EXPECT_EQ(ParseCost(std::string("\0a", 2)), 4u);
}

TEST_F(HandlerConfig, TakesThousandsOfRequestTypes) {
  std::string yaml = "request-types:\n";
  for (int i = 0; i < 5000; ++i) {
    yaml += "  - \"org.example.device/request-type:" + std::to_string(i) + "\"\n";
  }
  EXPECT_EQ(TypesIn(yaml).size(), 5000u);
  EXPECT_TRUE(fake::Log().empty());
}

TEST_F(HandlerConfig, ParsesAFileOnceForAPackage) {
  const std::string path = WriteFile("handler.yaml", "request-types: [alpha]\n");
  handlers::PackageConfigs package;
  EXPECT_EQ(package.Load(path).RequestTypes(), Texts{"alpha"});
  WriteFile("handler.yaml", "request-types: [beta]\n");
  EXPECT_EQ(package.Load(path).RequestTypes(), Texts{"alpha"});
  EXPECT_EQ(handlers::PackageConfigs().Load(path).RequestTypes(), Texts{"beta"});
}

TEST_F(HandlerConfig, ParsesAnInvalidFileOnceForAPackage) {
  const std::string path = WriteFile("handler.yaml", "request-types: [alpha\n");
  handlers::PackageConfigs package;
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path, package).RequestTypes(), Texts{});
  WriteFile("handler.yaml", "request-types: [beta]\n");
  EXPECT_EQ(handlers::HandlerConfig::FromYaml(path, package).RequestTypes(), Texts{});
  EXPECT_EQ(ErrorsFor(path), 2);
}

TEST_F(HandlerConfig, ReadsAFileAgainThatCouldNotBeRead) {
  handlers::PackageConfigs package;
  const std::string path = fake::DataPath() + "handler.yaml";
  EXPECT_THROW(package.Load(path), YAML::Exception);
  EXPECT_EQ(package.Load(WriteFile("handler.yaml", "request-types: [alpha]\n")).RequestTypes(),
            Texts{"alpha"});
}

TEST_F(HandlerConfig, LimitsWhatTheFilesOfAPackageWeighTogether) {
  const auto weighing = [](const std::string& name, std::size_t weight) {
    std::string yaml = "request-types: [" + name + "]\n#";
    yaml.resize(weight - (handlers::ParseCost(yaml) - yaml.size()), '#');
    return WriteFile(name, yaml);
  };
  handlers::PackageConfigs package;
  const std::string half = weighing("half", handlers::kMaxParseCost / 2);
  const std::string quarter = weighing("quarter", handlers::kMaxParseCost / 4);
  const std::string more = weighing("more", handlers::kMaxParseCost / 4 + 1);
  EXPECT_EQ(package.Load(half).RequestTypes(), Texts{"half"});
  EXPECT_EQ(package.Load(quarter).RequestTypes(), Texts{"quarter"});
  EXPECT_THROW(package.Load(half), handlers::ConfigLimitError);
  EXPECT_THROW(package.Load(more), handlers::ConfigLimitError);
  EXPECT_EQ(package.Load(quarter).RequestTypes(), Texts{"quarter"});
  EXPECT_THROW(package.Load(quarter), handlers::ConfigLimitError);
  // Invalid ones count as well.
  handlers::PackageConfigs invalid;
  std::string yaml = "[";
  yaml.resize(handlers::kMaxConfigBytes, '#');
  EXPECT_THROW(invalid.Load(WriteFile("invalid", yaml)), YAML::Exception);
  EXPECT_THROW(invalid.Load(quarter), handlers::ConfigLimitError);
}

TEST_F(HandlerConfig, CountsWhatAliasesMultiply) {
  const std::string anchor = "x: &x " + std::string(1 << 18, 'x') + "\nrequest-types: ";
  EXPECT_EQ(TypesIn(anchor + "[*x, *x, *x, *x]\n").size(), 4u);
  EXPECT_EQ(TypesIn(anchor + "[*x, *x, *x, *x, more]\n"), Texts{});
  ExpectError();
}

TEST_F(HandlerConfig, RefusesADocumentOfAnyDepth) {
  for (const std::string level : {"[", "{a: ", "- ", "? "}) {
    std::string yaml = "request-types: ";
    if (level == "- " || level == "? ") yaml += "\n";
    for (int i = 0; i < 100'000; ++i) yaml += level;
    EXPECT_EQ(TypesIn(yaml), Texts{}) << level;
  }
}

TEST_F(HandlerConfig, RefusesAMalformedDocument) {
  EXPECT_EQ(TypesIn("request-types: [alpha\n"), Texts{});
  ExpectError();
}

}  // namespace
