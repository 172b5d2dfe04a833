// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/factory.h"

#include "common/exceptions.h"
#include "library-test.h"
#include "tizen/exception.h"

namespace {

// A class without a type name.
class OtherHandler : public handlers::AppHandler {
 public:
  using AppHandler::AppHandler;
};

class Factory : public support::PlatformTest {
 protected:
  static json::Document Json(const char* text) {
    json::Document document;
    document.Parse(text);
    return document;
  }

  template <typename Call>
  static void ExpectUnsupported(Call call) {
    try {
      call();
      FAIL() << "no exception thrown";
    } catch (const InvalidOperation& error) {
      EXPECT_STREQ(error.what(), "Unsupported handler type");
    }
  }

  handlers::Factory& factory_ = handlers::Factory::Instance();
};

TEST_F(Factory, IsSingleton) { EXPECT_EQ(&handlers::Factory::Instance(), &factory_); }

TEST_F(Factory, ReturnsTypeOfAppHandler) {
  support::InstallHandler("app", {"type"});
  EXPECT_EQ(factory_.Type(*factory_.CreateAppHandler("app")), "AppHandler");
}

TEST_F(Factory, RejectsDerivedClass) {
  const OtherHandler other(Json(R"({"appId":"x","requestTypes":[]})"), {});
  ExpectUnsupported([&] { factory_.Type(other); });
}

TEST_F(Factory, CreatesRecordFromJson) {
  const auto handler =
      factory_.CreateHandler("AppHandler", Json(R"({"appId":"x","requestTypes":["a"]})"));
  EXPECT_EQ(handler->Id(), "x");
  EXPECT_EQ(handler->RequestTypes(), std::set<std::string>{"a"});
  EXPECT_EQ(handler->Priority(), 0);
}

TEST_F(Factory, MatchesTypeNamesCaseSensitively) {
  ExpectUnsupported([&] { factory_.CreateHandler("apphandler", Json("{}")); });
}

TEST_F(Factory, MatchesTypeNamesExactly) {
  ExpectUnsupported([&] { factory_.CreateHandler("AppHandlers", Json("{}")); });
  ExpectUnsupported([&] { factory_.CreateHandler("App", Json("{}")); });
  ExpectUnsupported([&] { factory_.CreateHandler("", Json("{}")); });
  ExpectUnsupported(
      [&] { factory_.CreateHandler(std::string_view("AppHandler\0x", 12), Json("{}")); });
}

TEST_F(Factory, ThrowsForUnknownApplication) {
  EXPECT_THROW(factory_.CreateAppHandler("missing"), tizen::Exception);
}

}  // namespace
