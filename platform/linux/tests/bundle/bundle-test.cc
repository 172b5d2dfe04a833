// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <bundle_internal.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

struct FreeBundle {
  void operator()(bundle* b) const { bundle_free(b); }
};
using Owned = std::unique_ptr<bundle, FreeBundle>;

Owned NewBundle() { return Owned(bundle_create()); }

Owned BundleWithEverything() {
  Owned b = NewBundle();
  const char* texts[] = {"one", nullptr, ""};
  EXPECT_EQ(bundle_add_str(b.get(), "text", "value"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_add_str_array(b.get(), "texts", texts, 3), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_add_byte(b.get(), "bytes", "\0\1\2", 3), BUNDLE_ERROR_NONE);
  return b;
}

void ExpectEverything(bundle* b) {
  char* text = nullptr;
  ASSERT_EQ(bundle_get_str(b, "text", &text), BUNDLE_ERROR_NONE);
  EXPECT_STREQ(text, "value");
  int count = 0;
  const char** texts = bundle_get_str_array(b, "texts", &count);
  ASSERT_NE(texts, nullptr);
  ASSERT_EQ(count, 3);
  EXPECT_STREQ(texts[0], "one");
  EXPECT_EQ(texts[1], nullptr);
  EXPECT_STREQ(texts[2], "");
  void* bytes = nullptr;
  size_t size = 0;
  ASSERT_EQ(bundle_get_byte(b, "bytes", &bytes, &size), BUNDLE_ERROR_NONE);
  ASSERT_EQ(size, 3u);
  EXPECT_EQ(std::memcmp(bytes, "\0\1\2", 3), 0);
  EXPECT_EQ(bundle_get_count(b), 3);
}

std::vector<uint8_t> Raw(bundle* b) {
  bundle_raw* raw = nullptr;
  int size = 0;
  EXPECT_EQ(bundle_encode_raw(b, &raw, &size), BUNDLE_ERROR_NONE);
  std::vector<uint8_t> bytes(raw, raw + size);
  std::free(raw);
  return bytes;
}

Owned FromRaw(const std::vector<uint8_t>& raw) {
  return Owned(bundle_decode_raw(raw.data(), static_cast<int>(raw.size())));
}

std::vector<uint8_t> Numbers(std::initializer_list<uint32_t> numbers) {
  std::vector<uint8_t> bytes(numbers.size() * sizeof(uint32_t));
  std::memcpy(bytes.data(), numbers.begin(), bytes.size());
  return bytes;
}

}  // namespace

TEST(Bundle, StoresAllTypes) { ExpectEverything(BundleWithEverything().get()); }

TEST(Bundle, DuplicatesDeeply) {
  Owned copy;
  {
    const Owned b = BundleWithEverything();
    copy.reset(bundle_dup(b.get()));
  }
  ExpectEverything(copy.get());
}

TEST(Bundle, RejectsExistingKeyOfAnyType) {
  const Owned b = NewBundle();
  ASSERT_EQ(bundle_add_str(b.get(), "key", "1"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_add_str(b.get(), "key", "2"), BUNDLE_ERROR_KEY_EXISTS);
  EXPECT_EQ(bundle_add_byte(b.get(), "key", "2", 1), BUNDLE_ERROR_KEY_EXISTS);
  char* text = nullptr;
  ASSERT_EQ(bundle_get_str(b.get(), "key", &text), BUNDLE_ERROR_NONE);
  EXPECT_STREQ(text, "1");
}

TEST(Bundle, DoesNotFindMissingKeyOrOtherType) {
  const Owned b = BundleWithEverything();
  char* text = nullptr;
  EXPECT_EQ(bundle_get_str(b.get(), "none", &text), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
  EXPECT_EQ(bundle_get_str(b.get(), "bytes", &text), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
  int count = 0;
  EXPECT_EQ(bundle_get_str_array(b.get(), "text", &count), nullptr);
  EXPECT_EQ(get_last_result(), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
  EXPECT_EQ(bundle_get_type(b.get(), "none"), BUNDLE_TYPE_NONE);
  EXPECT_EQ(get_last_result(), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
}

TEST(Bundle, RejectsNullArguments) {
  const Owned b = NewBundle();
  char* text = nullptr;
  EXPECT_EQ(bundle_add_str(nullptr, "key", "1"), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str(b.get(), nullptr, "1"), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str(b.get(), "", "1"), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str(b.get(), "key", nullptr), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_byte(b.get(), "key", nullptr, 1), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_add_str_array(b.get(), "key", nullptr, 0), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_get_str(b.get(), "key", nullptr), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_get_str(nullptr, "key", &text), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_free(nullptr), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_dup(nullptr), nullptr);
  EXPECT_EQ(get_last_result(), BUNDLE_ERROR_INVALID_PARAMETER);
  bundle_foreach(b.get(), nullptr, nullptr);
  EXPECT_EQ(get_last_result(), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_encode_raw(b.get(), nullptr, nullptr), BUNDLE_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(bundle_decode_raw(nullptr, 4), nullptr);
}

TEST(Bundle, AddsEmptySlotsForNullArray) {
  const Owned b = NewBundle();
  ASSERT_EQ(bundle_add_str_array(b.get(), "slots", nullptr, 2), BUNDLE_ERROR_NONE);
  int count = 0;
  const char** slots = bundle_get_str_array(b.get(), "slots", &count);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(slots[0], nullptr);
  EXPECT_EQ(slots[1], nullptr);
}

TEST(Bundle, DeletesOnlyExistingKey) {
  const Owned b = BundleWithEverything();
  EXPECT_EQ(bundle_del(b.get(), "text"), BUNDLE_ERROR_NONE);
  EXPECT_EQ(bundle_del(b.get(), "text"), BUNDLE_ERROR_KEY_NOT_AVAILABLE);
  EXPECT_EQ(bundle_get_count(b.get()), 2);
}

TEST(Bundle, IteratesOverAllPairs) {
  const Owned b = BundleWithEverything();
  std::map<std::string, int> seen;
  const auto note = [](const char* key, const int type, const bundle_keyval_t* kv, void* data) {
    auto* value = const_cast<bundle_keyval_t*>(kv);
    EXPECT_EQ(bundle_keyval_get_type(value), type);
    (*static_cast<std::map<std::string, int>*>(data))[key] = bundle_keyval_type_is_array(value);
  };
  bundle_foreach(b.get(), note, &seen);
  const std::map<std::string, int> expected = {{"text", 0}, {"texts", 1}, {"bytes", 0}};
  EXPECT_EQ(seen, expected);
}

TEST(Bundle, ReturnsBasicAndArrayValuesOnlyAsSuch) {
  const Owned b = BundleWithEverything();
  const auto check = [](const char* key, const int, const bundle_keyval_t* kv, void*) {
    auto* value = const_cast<bundle_keyval_t*>(kv);
    void* basic = nullptr;
    void** array = nullptr;
    size_t size = 0;
    size_t* sizes = nullptr;
    unsigned int count = 0;
    const int basic_result = bundle_keyval_get_basic_val(value, &basic, &size);
    const int array_result = bundle_keyval_get_array_val(value, &array, &count, &sizes);
    if (std::string(key) == "texts") {
      EXPECT_EQ(basic_result, BUNDLE_ERROR_INVALID_PARAMETER);
      ASSERT_EQ(array_result, BUNDLE_ERROR_NONE);
      ASSERT_EQ(count, 3u);
      EXPECT_STREQ(static_cast<char*>(array[0]), "one");
      EXPECT_EQ(sizes[0], 4u);
      EXPECT_EQ(sizes[1], 0u);
    } else {
      EXPECT_EQ(array_result, BUNDLE_ERROR_INVALID_PARAMETER);
      ASSERT_EQ(basic_result, BUNDLE_ERROR_NONE);
      EXPECT_EQ(size, std::string(key) == "text" ? 6u : 3u);
    }
  };
  bundle_foreach(b.get(), check, nullptr);
  EXPECT_EQ(get_last_result(), BUNDLE_ERROR_NONE);
}

TEST(Bundle, RoundTrips) {
  const Owned b = BundleWithEverything();
  const Owned from_raw = FromRaw(Raw(b.get()));
  ASSERT_NE(from_raw, nullptr);
  ExpectEverything(from_raw.get());
}

TEST(Bundle, EncodesEmptyBundleInFourBytes) {
  const Owned b = NewBundle();
  const auto raw = Raw(b.get());
  EXPECT_EQ(raw, Numbers({0}));
  EXPECT_EQ(bundle_get_count(FromRaw(raw).get()), 0);
}

TEST(BundleDecode, RejectsTruncatedBytes) {
  const auto raw = Raw(BundleWithEverything().get());
  for (size_t size = 0; size < raw.size(); ++size) {
    EXPECT_EQ(FromRaw({raw.begin(), raw.begin() + static_cast<ptrdiff_t>(size)}), nullptr) << size;
    EXPECT_EQ(get_last_result(), BUNDLE_ERROR_INVALID_PARAMETER);
  }
}

TEST(BundleDecode, RejectsTrailingBytes) {
  auto raw = Raw(BundleWithEverything().get());
  raw.push_back(0);
  EXPECT_EQ(FromRaw(raw), nullptr);
}

TEST(BundleDecode, RejectsCountsBeyondBytes) {
  EXPECT_EQ(FromRaw(Numbers({0xFFFFFFFF})), nullptr);
  auto raw = Numbers({1, BUNDLE_TYPE_STR_ARRAY, 4, 0, 0xFFFFFFFF, 0});
  std::memcpy(raw.data() + 12, "keys", 4);
  EXPECT_EQ(FromRaw(raw), nullptr);
  EXPECT_EQ(FromRaw(Numbers({1, BUNDLE_TYPE_STR, 0xFFFFFFFF, 0})), nullptr);
}

TEST(BundleDecode, RejectsDuplicateKeys) {
  const Owned b = NewBundle();
  bundle_add_byte(b.get(), "key1", "x", 1);
  auto raw = Raw(b.get());
  raw.insert(raw.end(), raw.begin() + 4, raw.end());
  raw[0] = 2;
  EXPECT_EQ(FromRaw(raw), nullptr);
  raw[raw.size() - 10] = '2';  // the last letter of the second key
  EXPECT_NE(FromRaw(raw), nullptr);
}

TEST(BundleDecode, RejectsUnknownTypesAndInvalidStrings) {
  const Owned b = NewBundle();
  bundle_add_str(b.get(), "key", "text");
  const auto raw = Raw(b.get());
  auto unknown = raw;
  unknown[4] = 0x77;
  EXPECT_EQ(FromRaw(unknown), nullptr);
  auto unterminated = raw;
  unterminated.back() = 'x';
  EXPECT_EQ(FromRaw(unterminated), nullptr);
  auto cut_inside = raw;
  cut_inside[cut_inside.size() - 3] = '\0';
  EXPECT_EQ(FromRaw(cut_inside), nullptr);
  auto key_with_nul = raw;
  key_with_nul[12] = '\0';
  EXPECT_EQ(FromRaw(key_with_nul), nullptr);
}
