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
