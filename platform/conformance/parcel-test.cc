// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle.h>
#include <rpc-port-parcel.h>

#include <climits>
#include <cstdlib>
#include <limits>

#include "traits.h"

namespace {

class Parcel : public conformance::Test {
 protected:
  void SetUp() override {
    Test::SetUp();
    ASSERT_EQ(rpc_port_parcel_create(&parcel_), RPC_PORT_ERROR_NONE);
    ASSERT_EQ(rpc_port_parcel_get_header(parcel_, &header_), RPC_PORT_ERROR_NONE);
  }

  void TearDown() override {
    EXPECT_EQ(rpc_port_parcel_destroy(parcel_), RPC_PORT_ERROR_NONE);
    Test::TearDown();
  }

  std::string ReadString() {
    char* text = nullptr;
    if (rpc_port_parcel_read_string(parcel_, &text) != RPC_PORT_ERROR_NONE) return "(none)";
    const std::string copy = text;
    std::free(text);
    return copy;
  }

  rpc_port_parcel_h parcel_ = nullptr;
  rpc_port_parcel_header_h header_ = nullptr;
};

// Returns a parcel decoded from the bytes of another.
struct Copy {
  explicit Copy(rpc_port_parcel_h original) {
    void* raw = nullptr;
    unsigned int size = 0;
    EXPECT_EQ(rpc_port_parcel_get_raw(original, &raw, &size), RPC_PORT_ERROR_NONE);
    EXPECT_EQ(rpc_port_parcel_create_from_raw(&handle, raw, size), RPC_PORT_ERROR_NONE);
  }
  Copy(const Copy&) = delete;
  Copy& operator=(const Copy&) = delete;
  ~Copy() { EXPECT_EQ(rpc_port_parcel_destroy(handle), RPC_PORT_ERROR_NONE); }

  rpc_port_parcel_h handle = nullptr;
};

template <typename T>
void ExpectRoundTrip(rpc_port_parcel_h parcel, int (*write)(rpc_port_parcel_h, T),
                     int (*read)(rpc_port_parcel_h, T*), std::initializer_list<T> values) {
  for (const T value : values) EXPECT_EQ(write(parcel, value), RPC_PORT_ERROR_NONE);
  for (const T value : values) {
    T copy{};
    EXPECT_EQ(read(parcel, &copy), RPC_PORT_ERROR_NONE);
    EXPECT_EQ(copy, value);
  }
}

DOCUMENTED_TEST(Parcel, KeepsNumbersOfEveryKind) {
  ExpectRoundTrip<char>(parcel_, rpc_port_parcel_write_byte, rpc_port_parcel_read_byte,
                        {'\0', 'x', '\x7f'});
  ExpectRoundTrip<short>(parcel_, rpc_port_parcel_write_int16, rpc_port_parcel_read_int16,
                         {0, SHRT_MIN, SHRT_MAX});
  ExpectRoundTrip<int>(parcel_, rpc_port_parcel_write_int32, rpc_port_parcel_read_int32,
                       {0, INT_MIN, INT_MAX});
  ExpectRoundTrip<long long>(parcel_, rpc_port_parcel_write_int64, rpc_port_parcel_read_int64,
                             {0, LLONG_MIN, LLONG_MAX, -1});
  ExpectRoundTrip<float>(parcel_, rpc_port_parcel_write_float, rpc_port_parcel_read_float,
                         {0.0F, -1.5F});
  ExpectRoundTrip<double>(parcel_, rpc_port_parcel_write_double, rpc_port_parcel_read_double,
                          {0.0, 0.1, std::numeric_limits<double>::max()});
  ExpectRoundTrip<bool>(parcel_, rpc_port_parcel_write_bool, rpc_port_parcel_read_bool,
                        {true, false});
  ExpectRoundTrip<int>(parcel_, rpc_port_parcel_write_array_count, rpc_port_parcel_read_array_count,
                       {0, 7});
}

DOCUMENTED_TEST(Parcel, KeepsTexts) {
  for (const char* text : {"one", "", "three"}) {
    ASSERT_EQ(rpc_port_parcel_write_string(parcel_, text), RPC_PORT_ERROR_NONE);
  }
  EXPECT_EQ(ReadString(), "one");
  EXPECT_EQ(ReadString(), "");
  EXPECT_EQ(ReadString(), "three");
}

LINUX_TEST(Parcel, KeepsALongText) {
  const std::string text(100000, 'x');
  ASSERT_EQ(rpc_port_parcel_write_string(parcel_, text.c_str()), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(ReadString(), text);
}

DOCUMENTED_TEST(Parcel, KeepsBundles) {
  bundle* written = bundle_create();
  ASSERT_EQ(bundle_add_str(written, "key", "value"), BUNDLE_ERROR_NONE);
  ASSERT_EQ(rpc_port_parcel_write_bundle(parcel_, written), RPC_PORT_ERROR_NONE);
  bundle_free(written);
  bundle* read = nullptr;
  ASSERT_EQ(rpc_port_parcel_read_bundle(parcel_, &read), RPC_PORT_ERROR_NONE);
  char* value = nullptr;
  ASSERT_EQ(bundle_get_str(read, "key", &value), BUNDLE_ERROR_NONE);
  EXPECT_STREQ(value, "value");
  EXPECT_EQ(bundle_free(read), BUNDLE_ERROR_NONE);
}

DOCUMENTED_TEST(Parcel, KeepsAnEmptyBundle) {
  bundle* written = bundle_create();
  ASSERT_EQ(rpc_port_parcel_write_bundle(parcel_, written), RPC_PORT_ERROR_NONE);
  bundle_free(written);
  bundle* read = nullptr;
  ASSERT_EQ(rpc_port_parcel_read_bundle(parcel_, &read), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(bundle_get_count(read), 0);
  EXPECT_EQ(bundle_free(read), BUNDLE_ERROR_NONE);
}

DOCUMENTED_TEST(Parcel, KeepsBytes) {
  const unsigned char bytes[] = {0, 1, 255};
  ASSERT_EQ(rpc_port_parcel_burst_write(parcel_, bytes, sizeof(bytes)), RPC_PORT_ERROR_NONE);
  unsigned char read[sizeof(bytes)] = {};
  ASSERT_EQ(rpc_port_parcel_burst_read(parcel_, read, sizeof(read)), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(std::string(read, read + sizeof(read)), std::string(bytes, bytes + sizeof(bytes)));
}

DOCUMENTED_TEST(Parcel, ReadsInTheOrderOfWriting) {
  rpc_port_parcel_write_int32(parcel_, 7);
  rpc_port_parcel_write_string(parcel_, "text");
  rpc_port_parcel_write_bool(parcel_, true);
  int number = 0;
  bool flag = false;
  EXPECT_EQ(rpc_port_parcel_read_int32(parcel_, &number), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(ReadString(), "text");
  EXPECT_EQ(rpc_port_parcel_read_bool(parcel_, &flag), RPC_PORT_ERROR_NONE);
  EXPECT_TRUE(flag);
}

// The value of a number after a failed read is unspecified.
LINUX_TEST(Parcel, RefusesReadsPastTheEnd) {
  int number = 0;
  long long big = 0;
  bool flag = false;
  double real = 0.0;
  char* text = nullptr;
  bundle* extra = nullptr;
  EXPECT_EQ(rpc_port_parcel_read_int32(parcel_, &number), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_int64(parcel_, &big), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_bool(parcel_, &flag), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_double(parcel_, &real), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_string(parcel_, &text), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_bundle(parcel_, &extra), RPC_PORT_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Parcel, RefusesAReadWhenTooFewBytesAreLeft) {
  rpc_port_parcel_write_byte(parcel_, 1);
  long long big = 0;
  EXPECT_EQ(rpc_port_parcel_read_int64(parcel_, &big), RPC_PORT_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Parcel, LeavesPointersWhenReadingPastTheEnd) {
  char unchanged = 'x';
  char* text = &unchanged;
  auto* extra = reinterpret_cast<bundle*>(&unchanged);
  EXPECT_NE(rpc_port_parcel_read_string(parcel_, &text), RPC_PORT_ERROR_NONE);
  EXPECT_NE(rpc_port_parcel_read_bundle(parcel_, &extra), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(text, &unchanged);
  EXPECT_EQ(extra, reinterpret_cast<bundle*>(&unchanged));
}

LINUX_TEST(Parcel, HasNoTagUntilOneIsSet) {
  char* tag = nullptr;
  ASSERT_EQ(rpc_port_parcel_header_get_tag(header_, &tag), RPC_PORT_ERROR_NONE);
  EXPECT_STREQ(tag, "");
  std::free(tag);
}

DOCUMENTED_TEST(Parcel, KeepsItsTag) {
  ASSERT_EQ(rpc_port_parcel_header_set_tag(header_, "1.2.3"), RPC_PORT_ERROR_NONE);
  char* tag = nullptr;
  ASSERT_EQ(rpc_port_parcel_header_get_tag(header_, &tag), RPC_PORT_ERROR_NONE);
  EXPECT_STREQ(tag, "1.2.3");
  std::free(tag);
}

DOCUMENTED_TEST(Parcel, KeepsItsSequenceNumber) {
  int number = 0;
  for (const int set : {42, -1, INT_MAX}) {
    ASSERT_EQ(rpc_port_parcel_header_set_seq_num(header_, set), RPC_PORT_ERROR_NONE);
    ASSERT_EQ(rpc_port_parcel_header_get_seq_num(header_, &number), RPC_PORT_ERROR_NONE);
    EXPECT_EQ(number, set);
  }
}

DOCUMENTED_TEST(Parcel, SurvivesItsBytes) {
  rpc_port_parcel_header_set_tag(header_, "1.2.3");
  rpc_port_parcel_header_set_seq_num(header_, 42);
  rpc_port_parcel_write_string(parcel_, "text");
  const Copy copy(parcel_);
  char* text = nullptr;
  EXPECT_EQ(rpc_port_parcel_read_string(copy.handle, &text), RPC_PORT_ERROR_NONE);
  EXPECT_STREQ(text, "text");
  std::free(text);
}

LINUX_TEST(Parcel, KeepsItsHeaderInItsBytes) {
  rpc_port_parcel_header_set_tag(header_, "1.2.3");
  rpc_port_parcel_header_set_seq_num(header_, 42);
  const Copy copy(parcel_);
  rpc_port_parcel_header_h header = nullptr;
  char* tag = nullptr;
  int number = 0;
  ASSERT_EQ(rpc_port_parcel_get_header(copy.handle, &header), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_header_get_tag(header, &tag), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_header_get_seq_num(header, &number), RPC_PORT_ERROR_NONE);
  EXPECT_STREQ(tag, "1.2.3");
  EXPECT_EQ(number, 42);
  std::free(tag);
}

DOCUMENTED_TEST(Parcel, RefusesANullHandle) {
  int number = 0;
  EXPECT_EQ(rpc_port_parcel_write_int32(nullptr, 1), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_int32(nullptr, &number), RPC_PORT_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Parcel, RefusesNullArguments) {
  EXPECT_EQ(rpc_port_parcel_create(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_destroy(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_send(parcel_, nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
}

LINUX_TEST(Parcel, IsNotMadeFromNoPort) {
  rpc_port_parcel_h made = nullptr;
  EXPECT_EQ(rpc_port_parcel_create_from_port(&made, nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(made, nullptr);
}

}  // namespace
