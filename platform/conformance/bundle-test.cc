// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <tizen.h>

#include <cstring>
#include <set>

#include "traits.h"

namespace {

class Bundle : public conformance::Test {
 protected:
  void SetUp() override {
    Test::SetUp();
    bundle_ = bundle_create();
    ASSERT_NE(bundle_, nullptr);
  }

  void TearDown() override {
    EXPECT_EQ(bundle_free(bundle_), BUNDLE_ERROR_NONE);
    Test::TearDown();
  }

  std::string Text(bundle* b, const char* key) {
    char* text = nullptr;
    return bundle_get_str(b, key, &text) == BUNDLE_ERROR_NONE ? text : "(none)";
  }

  bundle* bundle_ = nullptr;
};

DOCUMENTED_TEST(Bundle, IsEmptyAtFirst) { EXPECT_EQ(bundle_get_count(bundle_), 0); }

DOCUMENTED_TEST(Bundle, KeepsATextByItsKey) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", "value"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(Text(bundle_, "key"), "value");
  EXPECT_EQ(bundle_get_count(bundle_), 1);
  EXPECT_EQ(bundle_get_type(bundle_, "key"), BUNDLE_TYPE_STR);
}

LINUX_TEST(Bundle, KeepsAnEmptyText) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", ""), BUNDLE_ERROR_NONE);
  EXPECT_EQ(Text(bundle_, "key"), "");
}

DOCUMENTED_TEST(Bundle, CopiesWhatIsAdded) {
  char value[] = "value";
  ASSERT_EQ(bundle_add_str(bundle_, "key", value), BUNDLE_ERROR_NONE);
  value[0] = 'X';
  EXPECT_EQ(Text(bundle_, "key"), "value");
}

DOCUMENTED_TEST(Bundle, KeepsAnArrayOfTexts) {
  const char* values[] = {"a", "b"};
  ASSERT_EQ(bundle_add_str_array(bundle_, "key", values, 2), BUNDLE_ERROR_NONE);
  int length = 0;
  const char** kept = bundle_get_str_array(bundle_, "key", &length);
  ASSERT_NE(kept, nullptr);
  ASSERT_EQ(length, 2);
  EXPECT_STREQ(kept[0], "a");
  EXPECT_STREQ(kept[1], "b");
}

LINUX_TEST(Bundle, KeepsAnEmptyTextInAnArray) {
  const char* values[] = {"a", "", "c"};
  ASSERT_EQ(bundle_add_str_array(bundle_, "key", values, 3), BUNDLE_ERROR_NONE);
  int length = 0;
  const char** kept = bundle_get_str_array(bundle_, "key", &length);
  ASSERT_NE(kept, nullptr);
  ASSERT_EQ(length, 3);
  EXPECT_STREQ(kept[0], "a");
  EXPECT_STREQ(kept[1], "");
  EXPECT_STREQ(kept[2], "c");
}

DOCUMENTED_TEST(Bundle, KeepsBytesWithZerosInThem) {
  const char bytes[] = {'a', '\0', 'b'};
  ASSERT_EQ(bundle_add_byte(bundle_, "key", bytes, sizeof(bytes)), BUNDLE_ERROR_NONE);
  void* kept = nullptr;
  size_t size = 0;
  ASSERT_EQ(bundle_get_byte(bundle_, "key", &kept, &size), BUNDLE_ERROR_NONE);
  ASSERT_EQ(size, sizeof(bytes));
  EXPECT_EQ(std::memcmp(kept, bytes, sizeof(bytes)), 0);
}

DOCUMENTED_TEST(Bundle, RefusesAKeyThatExists) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", "first"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_add_str(bundle_, "key", "second"), BUNDLE_ERROR_KEY_EXISTS);
  EXPECT_EQ(Text(bundle_, "key"), "first");
}

LINUX_TEST(Bundle, RefusesAKeyThatExistsWithAnotherType) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", "first"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_add_byte(bundle_, "key", "b", 1), BUNDLE_ERROR_KEY_EXISTS);
  EXPECT_EQ(Text(bundle_, "key"), "first");
}

DOCUMENTED_TEST(Bundle, HasNoValueForAnUnknownKey) {
  char* text = nullptr;
  EXPECT_NE(bundle_get_str(bundle_, "key", &text), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_del(bundle_, "key"), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
}

LINUX_TEST(Bundle, LeavesTheOutputWhenTheKeyIsUnknown) {
  char* text = nullptr;
  EXPECT_EQ(bundle_get_str(bundle_, "key", &text), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
  EXPECT_EQ(text, nullptr);
}

LINUX_TEST(Bundle, HasNoValueOfAnotherType) {
  ASSERT_EQ(bundle_add_byte(bundle_, "key", "b", 1), BUNDLE_ERROR_NONE);
  char* text = nullptr;
  EXPECT_EQ(bundle_get_str(bundle_, "key", &text), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
}

DOCUMENTED_TEST(Bundle, ForgetsADeletedKey) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", "value"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_del(bundle_, "key"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_get_count(bundle_), 0);
}

DOCUMENTED_TEST(Bundle, VisitsEveryPair) {
  ASSERT_EQ(bundle_add_str(bundle_, "a", "1"), BUNDLE_ERROR_NONE);
  ASSERT_EQ(bundle_add_str(bundle_, "b", "2"), BUNDLE_ERROR_NONE);
  std::set<std::string> visited;
  bundle_foreach(
      bundle_,
      [](const char* key, const int, const bundle_keyval_t* pair, void* data) {
        void* value = nullptr;
        size_t size = 0;
        bundle_keyval_get_basic_val(const_cast<bundle_keyval_t*>(pair), &value, &size);
        // Whether the size counts a terminating zero is not documented.
        const auto* text = static_cast<const char*>(value);
        static_cast<std::set<std::string>*>(data)->insert(std::string(key) + "=" +
                                                          std::string(text, strnlen(text, size)));
      },
      &visited);
  EXPECT_EQ(visited, (std::set<std::string>{"a=1", "b=2"}));
}

LINUX_TEST(Bundle, VisitsTextsWithTheirTerminatingZero) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", "value"), BUNDLE_ERROR_NONE);
  std::string visited;
  bundle_foreach(
      bundle_,
      [](const char*, const int, const bundle_keyval_t* pair, void* data) {
        void* value = nullptr;
        size_t size = 0;
        bundle_keyval_get_basic_val(const_cast<bundle_keyval_t*>(pair), &value, &size);
        static_cast<std::string*>(data)->assign(static_cast<const char*>(value), size);
      },
      &visited);
  EXPECT_EQ(visited, std::string("value", sizeof("value")));
}

DOCUMENTED_TEST(Bundle, HasCopiesThatStandAlone) {
  ASSERT_EQ(bundle_add_str(bundle_, "key", "value"), BUNDLE_ERROR_NONE);
  bundle* copy = bundle_dup(bundle_);
  ASSERT_NE(copy, nullptr);
  ASSERT_EQ(bundle_add_str(copy, "more", "value"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(Text(copy, "key"), "value");
  EXPECT_EQ(bundle_get_count(bundle_), 1);
  EXPECT_EQ(bundle_free(copy), BUNDLE_ERROR_NONE);
}

DOCUMENTED_TEST(Bundle, RefusesToFreeANullHandle) {
  EXPECT_EQ(bundle_free(nullptr), BUNDLE_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Bundle, RefusesNullArguments) {
  char* text = nullptr;
  EXPECT_EQ(bundle_dup(nullptr), nullptr);
  EXPECT_EQ(get_last_result(), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str(nullptr, "key", "value"), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str(bundle_, nullptr, "value"), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str(bundle_, "key", nullptr), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_get_str(bundle_, nullptr, &text), BUNDLE_ERROR_INVALID_PARAMETER);
}

}  // namespace
