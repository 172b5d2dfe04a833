// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <tizen.h>

#include <thread>

#include "traits.h"

namespace {

class BaseCommon : public conformance::Test {};

DOCUMENTED_TEST(BaseCommon, KeepsTheLastResult) {
  set_last_result(TIZEN_ERROR_IO_ERROR);
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_IO_ERROR);
  set_last_result(TIZEN_ERROR_NONE);
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_NONE);
}

DOCUMENTED_TEST(BaseCommon, KeepsALastResultForEachThread) {
  set_last_result(TIZEN_ERROR_IO_ERROR);
  std::thread([] { set_last_result(TIZEN_ERROR_PERMISSION_DENIED); }).join();
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_IO_ERROR);
}

LINUX_TEST(BaseCommon, HasNoErrorAsTheLastResultOfANewThread) {
  set_last_result(TIZEN_ERROR_IO_ERROR);
  int of_new_thread = TIZEN_ERROR_UNKNOWN;
  std::thread([&of_new_thread] { of_new_thread = get_last_result(); }).join();
  EXPECT_EQ(of_new_thread, TIZEN_ERROR_NONE);
}

DOCUMENTED_TEST(BaseCommon, HasATextForEveryError) {
  for (const int error : {0, -1, -22, -130, -1073741824, -17825759}) {
    ASSERT_NE(get_error_message(error), nullptr) << error;
  }
  EXPECT_STRNE(get_error_message(-22), "");
}

LINUX_TEST(BaseCommon, HasATextForEveryNumber) {
  for (const int number : {-131, 12345}) ASSERT_NE(get_error_message(number), nullptr) << number;
}

// A later call for any error may overwrite the text.
DOCUMENTED_TEST(BaseCommon, KeepsAnErrorTextUntilTheNextCall) {
  const char* text = get_error_message(TIZEN_ERROR_IO_ERROR);
  const std::string copy = text;
  set_last_result(TIZEN_ERROR_PERMISSION_DENIED);
  EXPECT_EQ(text, copy);
}

LINUX_TEST(BaseCommon, TellsErrorsApartByTheirTexts) {
  const std::string io_error = get_error_message(TIZEN_ERROR_IO_ERROR);
  EXPECT_NE(io_error, get_error_message(TIZEN_ERROR_PERMISSION_DENIED));
}

}  // namespace
