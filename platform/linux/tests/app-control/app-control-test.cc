// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>
#include <gtest/gtest.h>

#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

using test::Take;

class AppControlTest : public testing::Test {
 protected:
  AppControlTest() { app_control_create(&request_); }
  ~AppControlTest() override { app_control_destroy(request_); }

  app_control_h request_ = nullptr;
};

TEST_F(AppControlTest, KeepsExtraData) {
  EXPECT_EQ(app_control_add_extra_data(request_, "key", "old"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(app_control_add_extra_data(request_, "key", "new"), APP_CONTROL_ERROR_NONE);
  char* value = nullptr;
  EXPECT_EQ(app_control_get_extra_data(request_, "key", &value), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(Take(value), "new");
  EXPECT_EQ(app_control_remove_extra_data(request_, "key"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(app_control_remove_extra_data(request_, "key"), APP_CONTROL_ERROR_KEY_NOT_FOUND);
  EXPECT_EQ(app_control_get_extra_data(request_, "key", &value), APP_CONTROL_ERROR_KEY_NOT_FOUND);
}

TEST_F(AppControlTest, RejectsReservedKeysAndEmptyStrings) {
  EXPECT_EQ(app_control_add_extra_data(request_, "__K", "v"), APP_CONTROL_ERROR_KEY_REJECTED);
  EXPECT_EQ(app_control_add_extra_data(request_, "", "v"), APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_add_extra_data(request_, "k", ""), APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_add_extra_data(request_, nullptr, "v"),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
}

TEST_F(AppControlTest, ClonesAreIndependent) {
  app_control_set_app_id(request_, "a");
  app_control_add_extra_data(request_, "key", "value");
  app_control_h clone = nullptr;
  ASSERT_EQ(app_control_clone(&clone, request_), APP_CONTROL_ERROR_NONE);
  app_control_set_app_id(request_, nullptr);
  app_control_remove_extra_data(request_, "key");
  char* text = nullptr;
  app_control_get_app_id(clone, &text);
  EXPECT_EQ(Take(text), "a");
  EXPECT_EQ(app_control_get_extra_data(clone, "key", &text), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(Take(text), "value");
  app_control_get_app_id(request_, &text);
  EXPECT_EQ(text, nullptr);
  app_control_destroy(clone);
}

TEST_F(AppControlTest, ForeachCallbackMayRemoveKey) {
  app_control_add_extra_data(request_, "a", "1");
  app_control_add_extra_data(request_, "b", "2");
  const auto remove = [](app_control_h request, const char* key, void* count) {
    EXPECT_EQ(app_control_remove_extra_data(request, key), APP_CONTROL_ERROR_NONE);
    ++*static_cast<int*>(count);
    return true;
  };
  int count = 0;
  EXPECT_EQ(app_control_foreach_extra_data(request_, remove, &count), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(count, 2);
}

TEST_F(AppControlTest, HasNoCallerWhenCreatedLocally) {
  char* caller = nullptr;
  EXPECT_EQ(app_control_get_caller(request_, &caller), APP_CONTROL_ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace platform
