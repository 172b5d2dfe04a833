// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <tizen.h>

#include <thread>

#include "traits.h"

namespace {

class BaseCommon : public conformance::Test {};

TEST_F(BaseCommon, KeepsTheLastResult) {
  set_last_result(TIZEN_ERROR_IO_ERROR);
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_IO_ERROR);
  set_last_result(TIZEN_ERROR_NONE);
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_NONE);
}

TEST_F(BaseCommon, KeepsALastResultForEachThread) {
  set_last_result(TIZEN_ERROR_IO_ERROR);
  int other_before = TIZEN_ERROR_UNKNOWN;
  std::thread([&other_before] {
    other_before = get_last_result();
    set_last_result(TIZEN_ERROR_PERMISSION_DENIED);
  }).join();
  EXPECT_EQ(other_before, TIZEN_ERROR_NONE);
  EXPECT_EQ(get_last_result(), TIZEN_ERROR_IO_ERROR);
}

TEST_F(BaseCommon, HasATextForEveryError) {
  for (const int error : {0, -1, -22, -130, -131, -1073741824, -17825759, 12345}) {
    ASSERT_NE(get_error_message(error), nullptr) << error;
  }
  EXPECT_STRNE(get_error_message(-22), "");
}

TEST_F(BaseCommon, TellsErrorsApartByTheirTexts) {
  const std::string io_error = get_error_message(TIZEN_ERROR_IO_ERROR);
  EXPECT_NE(io_error, get_error_message(TIZEN_ERROR_PERMISSION_DENIED));
}

}  // namespace
