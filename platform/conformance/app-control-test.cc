// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>

#include <cstdlib>
#include <vector>

#include "traits.h"

namespace {

class AppControl : public conformance::Test {
 protected:
  void SetUp() override {
    Test::SetUp();
    ASSERT_EQ(app_control_create(&control_), APP_CONTROL_ERROR_NONE);
  }

  void TearDown() override {
    EXPECT_EQ(app_control_destroy(control_), APP_CONTROL_ERROR_NONE);
    Test::TearDown();
  }

  std::string Extra(const char* key) {
    char* value = nullptr;
    if (app_control_get_extra_data(control_, key, &value) != APP_CONTROL_ERROR_NONE) {
      return "(none)";
    }
    const std::string copy = value;
    std::free(value);
    return copy;
  }

  app_control_h control_ = nullptr;
};

DOCUMENTED_TEST(AppControl, KeepsItsTarget) {
  ASSERT_EQ(app_control_set_app_id(control_, "org.example.app"), APP_CONTROL_ERROR_NONE);
  char* id = nullptr;
  ASSERT_EQ(app_control_get_app_id(control_, &id), APP_CONTROL_ERROR_NONE);
  EXPECT_STREQ(id, "org.example.app");
  std::free(id);
}

DOCUMENTED_TEST(AppControl, KeepsExtraData) {
  ASSERT_EQ(app_control_add_extra_data(control_, "key", "value"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(Extra("key"), "value");
}

DOCUMENTED_TEST(AppControl, ReplacesExtraDataOfTheSameKey) {
  ASSERT_EQ(app_control_add_extra_data(control_, "key", "first"), APP_CONTROL_ERROR_NONE);
  ASSERT_EQ(app_control_add_extra_data(control_, "key", "second"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(Extra("key"), "second");
}

DOCUMENTED_TEST(AppControl, RefusesEmptyExtraData) {
  EXPECT_EQ(app_control_add_extra_data(control_, "", "value"), APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_add_extra_data(control_, "key", ""), APP_CONTROL_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(AppControl, RefusesANullKey) {
  EXPECT_EQ(app_control_add_extra_data(control_, nullptr, "value"),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(AppControl, RejectsKeysOfThePlatformsOwn) {
  EXPECT_EQ(app_control_add_extra_data(control_, "__APP_SVC_KEY__", "value"),
            APP_CONTROL_ERROR_KEY_REJECTED);
}

DOCUMENTED_TEST(AppControl, HasNoExtraDataOfAnUnknownKey) {
  char* value = nullptr;
  EXPECT_EQ(app_control_get_extra_data(control_, "key", &value), APP_CONTROL_ERROR_KEY_NOT_FOUND);
  EXPECT_EQ(app_control_remove_extra_data(control_, "key"), APP_CONTROL_ERROR_KEY_NOT_FOUND);
}

DOCUMENTED_TEST(AppControl, VisitsExtraDataUntilToldToStop) {
  ASSERT_EQ(app_control_add_extra_data(control_, "a", "1"), APP_CONTROL_ERROR_NONE);
  ASSERT_EQ(app_control_add_extra_data(control_, "b", "2"), APP_CONTROL_ERROR_NONE);
  int visits = 0;
  ASSERT_EQ(
      app_control_foreach_extra_data(
          control_,
          [](app_control_h, const char*, void* data) { return ++*static_cast<int*>(data) < 1; },
          &visits),
      APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(visits, 1);
}

DOCUMENTED_TEST(AppControl, HasCopiesThatStandAlone) {
  ASSERT_EQ(app_control_add_extra_data(control_, "key", "value"), APP_CONTROL_ERROR_NONE);
  app_control_h copy = nullptr;
  ASSERT_EQ(app_control_clone(&copy, control_), APP_CONTROL_ERROR_NONE);
  ASSERT_EQ(app_control_remove_extra_data(copy, "key"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(Extra("key"), "value");
  EXPECT_EQ(app_control_destroy(copy), APP_CONTROL_ERROR_NONE);
}

DOCUMENTED_TEST(AppControl, NeedsATargetToLaunch) {
  EXPECT_EQ(app_control_send_launch_request(control_, nullptr, nullptr),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
}

DOCUMENTED_TEST(AppControl, CannotLaunchWhatIsNotInstalled) {
  ASSERT_EQ(app_control_set_app_id(control_, "org.example.missing"), APP_CONTROL_ERROR_NONE);
  EXPECT_EQ(app_control_send_launch_request(control_, nullptr, nullptr),
            APP_CONTROL_ERROR_APP_NOT_FOUND);
}

DOCUMENTED_TEST(AppControl, HasNoCallerWhenMadeHere) {
  char* caller = nullptr;
  EXPECT_EQ(app_control_get_caller(control_, &caller), APP_CONTROL_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(AppControl, RefusesNullHandles) {
  EXPECT_EQ(app_control_create(nullptr), APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_destroy(nullptr), APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_set_app_id(nullptr, "id"), APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_add_extra_data(nullptr, "key", "value"),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(app_control_send_launch_request(nullptr, nullptr, nullptr),
            APP_CONTROL_ERROR_INVALID_PARAMETER);
}

}  // namespace
