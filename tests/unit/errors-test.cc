// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <tizen.h>

#include <new>
#include <stdexcept>
#include <type_traits>

#include "api/try-catch.h"
#include "common/exceptions.h"
#include "common/logging.h"
#include "common/timeout-errors.h"
#include "library-test.h"
#include "tizen/exception.h"

namespace {

using api::TryCatch;
using support::CountLogged;

class Errors : public support::PlatformTest {};

template <typename Exception>
int CodeOf() {
  return TryCatch([]() -> int { throw Exception("/a/b/x.y", 1, "message"); });
}

TEST_F(Errors, MapsEachExceptionToItsCode) {
  EXPECT_EQ(CodeOf<InvalidParameter>(), -22);
  EXPECT_EQ(CodeOf<IOError>(), -5);
  EXPECT_EQ(CodeOf<PermissionDenied>(), -13);
  EXPECT_EQ(CodeOf<NotInitialized>(), -107);
  EXPECT_EQ(CodeOf<AlreadyInitialized>(), -106);
  EXPECT_EQ(CodeOf<NotSupported>(), -1073741822);
  EXPECT_EQ(CodeOf<NoSpaceOnDevice>(), -28);
  EXPECT_EQ(CodeOf<InvalidOperation>(), -38);
  EXPECT_EQ(CodeOf<FailToSendAppControl>(), -1073741825);
  EXPECT_EQ(TryCatch([]() -> int { throw std::bad_alloc(); }), -12);
}

TEST_F(Errors, MapsOperationFailedToUnknown) { EXPECT_EQ(CodeOf<OperationFailed>(), -1073741824); }

TEST_F(Errors, DistinguishesNotSupportedCommandFromNotSupported) {
  EXPECT_EQ(CodeOf<NotSupportedCommand>(), -1073741826);
}

TEST_F(Errors, MapsOtherExceptionsToUnknown) {
  EXPECT_EQ(TryCatch([]() -> int { throw std::runtime_error("text"); }), -1073741824);
  EXPECT_EQ(TryCatch([]() -> int { throw tizen::Exception("text", -5); }), -1073741824);
  EXPECT_EQ(TryCatch([]() -> int { throw QorCommonException("file", 1, "text"); }), -1073741824);
  EXPECT_EQ(TryCatch([]() -> int { throw 7; }), -1073741824);
}

TEST_F(Errors, MapsEmptyBodyToUnknown) { EXPECT_EQ(TryCatch(nullptr), -1073741824); }

TEST_F(Errors, ReturnsResultOfBody) {
  EXPECT_EQ(TryCatch([] { return 0; }), 0);
  EXPECT_EQ(TryCatch([] { return 42; }), 42);
  EXPECT_EQ(TryCatch([] { return -7; }), -7);
}

TEST_F(Errors, LogsNothing) {
  set_last_result(-3);
  CodeOf<InvalidParameter>();
  EXPECT_TRUE(fake::Log().empty());
  EXPECT_EQ(get_last_result(), -3);
}

TEST_F(Errors, HasPublicCodes) {
  EXPECT_EQ(QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL, static_cast<int>(0xBFFFFFFF));
  EXPECT_EQ(QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND, static_cast<int>(0xBFFFFFFE));
}

TEST_F(Errors, StoresFileNameAndLine) {
  const OperationFailed error("/a/b/x.y", 75, "message");
  EXPECT_EQ(error.Locations(), std::vector<std::string>{"x.y:75"});
  EXPECT_STREQ(error.what(), "message");
}

TEST_F(Errors, StoresEmptyFileNameForPathWithTrailingSlash) {
  EXPECT_EQ(OperationFailed("/a/b/", 75, "").Locations(), std::vector<std::string>{":75"});
}

TEST_F(Errors, CopiesMessage) {
  std::string message = "message";
  const IOError error("x.y", 1, message);
  message = "changed";
  EXPECT_STREQ(error.what(), "message");
}

TEST_F(Errors, HasIndependentClasses) {
  static_assert(std::is_base_of_v<std::exception, QorCommonException>);
  static_assert(!std::is_base_of_v<NotSupported, NotSupportedCommand>);
  static_assert(!std::is_base_of_v<InvalidOperation, OperationFailed>);
  EXPECT_EQ(sizeof(NotSupportedCommand), sizeof(QorCommonException));
  EXPECT_EQ(sizeof(FailToSendAppControl), sizeof(QorCommonException));
}

TEST_F(Errors, LogsExitWhenExceptionPasses) {
  const int code = TryCatch([]() -> int {
    QOR_FRAME_AT(12);
    throw InvalidParameter(__FILE__, __LINE__, "");
  });
  EXPECT_EQ(code, -22);
  EXPECT_EQ(support::LoggedTexts(DLOG_DEBUG),
            (std::vector<std::string>{support::EnterLine("errors-test.cc", "operator()", 12),
                                      support::ExitLine("errors-test.cc", "operator()")}));
}

TEST(TimeoutErrors, AreRecognizedWithAnyWhiteSpace) {
  EXPECT_EQ(common::TimeoutOf(support::kExecutionTimeoutError), common::Timeout::kExecution);
  EXPECT_EQ(common::TimeoutOf(support::kConnectionTimeoutError), common::Timeout::kConnection);
  EXPECT_EQ(common::TimeoutOf(R"({"ErrorCode":2004,"ErrorDomain":"QOR-CLIENT",)"
                              R"("ErrorDescription":"Connection time out"})"),
            common::Timeout::kConnection);
}

TEST(TimeoutErrors, AreDistinguishedFromErrorsOfHandlers) {
  for (const char* error : {"", "Execution time out", R"({"ErrorDomain":"QOR-CLIENT"})",
                            R"({"ErrorDomain":"other","ErrorDescription":"Execution time out"})"}) {
    EXPECT_EQ(common::TimeoutOf(error), common::Timeout::kNone) << error;
  }
}

}  // namespace
