// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>
#include <bundle.h>
#include <gtest/gtest.h>
#include <package_manager.h>
#include <tizen.h>

#include <string>
#include <thread>

TEST(LastResult, IsThreadLocal) {
  set_last_result(TIZEN_ERROR_IO_ERROR);
  int of_other_thread = -1;
  std::thread([&] {
    of_other_thread = get_last_result();
    set_last_result(TIZEN_ERROR_TIMED_OUT);
  }).join();
  EXPECT_EQ(of_other_thread, TIZEN_ERROR_NONE);
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_IO_ERROR);
}

TEST(ErrorMessage, DescribesBaseErrors) {
  EXPECT_STREQ(get_error_message(TIZEN_ERROR_NONE), "Successful");
  EXPECT_STREQ(get_error_message(TIZEN_ERROR_INVALID_PARAMETER), "Invalid parameter");
  EXPECT_STREQ(get_error_message(TIZEN_ERROR_END_OF_COLLECTION), "End of collection");
}

TEST(ErrorMessage, DescribesErrorsOfModules) {
  EXPECT_STREQ(get_error_message(BUNDLE_ERROR_KEY_EXISTS), "Key exists");
  EXPECT_STREQ(get_error_message(APP_CONTROL_ERROR_APP_NOT_FOUND), "Application not found");
  EXPECT_STREQ(get_error_message(PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE), "No such package");
}

TEST(ErrorMessage, DescribesEveryPlatformErrno) {
  for (int value = TIZEN_ERROR_DIR_NOT_EMPTY; value < 0; ++value) {
    if (value == -10 || value == -19) continue;  // not a platform error
    EXPECT_EQ(std::string(get_error_message(value)).find("Unknown"), std::string::npos) << value;
  }
}

TEST(ErrorMessage, NamesUnknownValue) {
  EXPECT_STREQ(get_error_message(-4711), "Unknown error -4711");
}
