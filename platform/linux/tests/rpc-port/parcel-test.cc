// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <rpc-port-parcel.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Destroy {
  void operator()(void* parcel) const { rpc_port_parcel_destroy(parcel); }
};
using Owned = std::unique_ptr<void, Destroy>;

Owned NewParcel() {
  rpc_port_parcel_h parcel = nullptr;
  EXPECT_EQ(rpc_port_parcel_create(&parcel), RPC_PORT_ERROR_NONE);
  return Owned(parcel);
}

std::vector<uint8_t> Raw(const Owned& parcel) {
  void* raw = nullptr;
  unsigned int size = 0;
  EXPECT_EQ(rpc_port_parcel_get_raw(parcel.get(), &raw, &size), RPC_PORT_ERROR_NONE);
  return {static_cast<uint8_t*>(raw), static_cast<uint8_t*>(raw) + size};
}

Owned FromRaw(const std::vector<uint8_t>& raw) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create_from_raw(&parcel, raw.data(), static_cast<unsigned int>(raw.size()));
  return Owned(parcel);
}

std::string ReadString(const Owned& parcel) {
  char* text = nullptr;
  EXPECT_EQ(rpc_port_parcel_read_string(parcel.get(), &text), RPC_PORT_ERROR_NONE);
  const std::string copy(text == nullptr ? "" : text);
  std::free(text);
  return copy;
}

std::string Tag(const Owned& parcel) {
  rpc_port_parcel_header_h header = nullptr;
  rpc_port_parcel_get_header(parcel.get(), &header);
  char* tag = nullptr;
  EXPECT_EQ(rpc_port_parcel_header_get_tag(header, &tag), RPC_PORT_ERROR_NONE);
  const std::string copy(tag);
  std::free(tag);
  return copy;
}

}  // namespace

TEST(Parcel, ReadsAllTypesInOrderAfterEncoding) {
  const Owned out = NewParcel();
  rpc_port_parcel_write_byte(out.get(), -7);
  rpc_port_parcel_write_int16(out.get(), -300);
  rpc_port_parcel_write_int32(out.get(), -70000);
  rpc_port_parcel_write_int64(out.get(), -5000000000LL);
  rpc_port_parcel_write_float(out.get(), 1.5F);
  rpc_port_parcel_write_double(out.get(), -2.25);
  rpc_port_parcel_write_string(out.get(), "text");
  rpc_port_parcel_write_bool(out.get(), true);
  rpc_port_parcel_write_array_count(out.get(), 3);
  rpc_port_parcel_burst_write(out.get(), reinterpret_cast<const unsigned char*>("raw"), 3);

  const Owned in = FromRaw(Raw(out));
  ASSERT_NE(in, nullptr);
  char byte = 0;
  short int16 = 0;
  int int32 = 0;
  long long int64 = 0;
  float single = 0;
  double real = 0;
  bool boolean = false;
  int count = 0;
  unsigned char raw[3] = {};
  EXPECT_EQ(rpc_port_parcel_read_byte(in.get(), &byte), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_read_int16(in.get(), &int16), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_read_int32(in.get(), &int32), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_read_int64(in.get(), &int64), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_read_float(in.get(), &single), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_read_double(in.get(), &real), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(ReadString(in), "text");
  EXPECT_EQ(rpc_port_parcel_read_bool(in.get(), &boolean), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_read_array_count(in.get(), &count), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rpc_port_parcel_burst_read(in.get(), raw, 3), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(byte, static_cast<char>(-7));
  EXPECT_EQ(int16, -300);
  EXPECT_EQ(int32, -70000);
  EXPECT_EQ(int64, -5000000000LL);
  EXPECT_EQ(single, 1.5F);
  EXPECT_EQ(real, -2.25);
  EXPECT_TRUE(boolean);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(std::memcmp(raw, "raw", 3), 0);
}

TEST(Parcel, RoundTripsBundles) {
  const Owned out = NewParcel();
  bundle* b = bundle_create();
  bundle_add_str(b, "key", "value");
  EXPECT_EQ(rpc_port_parcel_write_bundle(out.get(), b), RPC_PORT_ERROR_NONE);
  bundle_free(b);
  const Owned in = FromRaw(Raw(out));
  ASSERT_EQ(rpc_port_parcel_read_bundle(in.get(), &b), RPC_PORT_ERROR_NONE);
  char* value = nullptr;
  ASSERT_EQ(bundle_get_str(b, "key", &value), BUNDLE_ERROR_NONE);
  EXPECT_STREQ(value, "value");
  bundle_free(b);
}

TEST(Parcel, RoundTripsHeader) {
  const Owned out = NewParcel();
  rpc_port_parcel_header_h header = nullptr;
  ASSERT_EQ(rpc_port_parcel_get_header(out.get(), &header), RPC_PORT_ERROR_NONE);
  rpc_port_parcel_header_set_tag(header, "1.5.0");
  rpc_port_parcel_header_set_seq_num(header, 42);
  timespec sent{};
  rpc_port_parcel_header_get_timestamp(header, &sent);

  const Owned in = FromRaw(Raw(out));
  rpc_port_parcel_get_header(in.get(), &header);
  int sequence = 0;
  timespec received{};
  rpc_port_parcel_header_get_seq_num(header, &sequence);
  rpc_port_parcel_header_get_timestamp(header, &received);
  EXPECT_EQ(Tag(in), "1.5.0");
  EXPECT_EQ(sequence, 42);
  EXPECT_EQ(received.tv_sec, sent.tv_sec);
  EXPECT_EQ(received.tv_nsec, sent.tv_nsec);
  EXPECT_GT(sent.tv_sec + sent.tv_nsec, 0);
}

TEST(Parcel, RoundTripsLongTagSetAfterValues) {
  const Owned out = NewParcel();
  rpc_port_parcel_write_string(out.get(), "value");
  rpc_port_parcel_write_int32(out.get(), 7);
  EXPECT_EQ(ReadString(out), "value");
  rpc_port_parcel_header_h header = nullptr;
  rpc_port_parcel_get_header(out.get(), &header);
  const std::string tag(255, 't');
  ASSERT_EQ(rpc_port_parcel_header_set_tag(header, tag.c_str()), RPC_PORT_ERROR_NONE);
  const Owned in = FromRaw(Raw(out));
  ASSERT_NE(in, nullptr);
  EXPECT_EQ(Tag(in), tag);
  EXPECT_EQ(ReadString(in), "value");
  int rest = 0;
  EXPECT_EQ(rpc_port_parcel_read_int32(out.get(), &rest), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(rest, 7);
  EXPECT_EQ(rpc_port_parcel_header_set_tag(header, (tag + "t").c_str()),
            RPC_PORT_ERROR_INVALID_PARAMETER);
}

TEST(Parcel, RejectsReadsPastEndAndKeepsOutputs) {
  const Owned parcel = NewParcel();
  rpc_port_parcel_write_int16(parcel.get(), 5);
  int wide = 11;
  EXPECT_EQ(rpc_port_parcel_read_int32(parcel.get(), &wide), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(wide, 11);
  char* text = nullptr;
  bundle* b = nullptr;
  bool boolean = true;
  long long wider = 11;
  double real = 11.0;
  EXPECT_EQ(rpc_port_parcel_read_int64(parcel.get(), &wider), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_double(parcel.get(), &real), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(wider, 11);
  EXPECT_EQ(real, 11.0);
  EXPECT_EQ(rpc_port_parcel_read_string(parcel.get(), &text), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_bundle(parcel.get(), &b), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(text, nullptr);
  EXPECT_EQ(b, nullptr);
  short narrow = 0;
  EXPECT_EQ(rpc_port_parcel_read_int16(parcel.get(), &narrow), RPC_PORT_ERROR_NONE);
  EXPECT_EQ(narrow, 5);
  EXPECT_EQ(rpc_port_parcel_read_bool(parcel.get(), &boolean), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_TRUE(boolean);
}

TEST(Parcel, RejectsInvalidSizesAndStrings) {
  const Owned parcel = NewParcel();
  rpc_port_parcel_write_int32(parcel.get(), -1);
  rpc_port_parcel_burst_write(parcel.get(), reinterpret_cast<const unsigned char*>("abc"), 3);
  char* text = nullptr;
  EXPECT_EQ(rpc_port_parcel_read_string(parcel.get(), &text), RPC_PORT_ERROR_INVALID_PARAMETER);
  const Owned unterminated = NewParcel();
  rpc_port_parcel_write_int32(unterminated.get(), 3);
  rpc_port_parcel_burst_write(unterminated.get(), reinterpret_cast<const unsigned char*>("abc"), 3);
  EXPECT_EQ(rpc_port_parcel_read_string(unterminated.get(), &text),
            RPC_PORT_ERROR_INVALID_PARAMETER);
  const Owned negative = NewParcel();
  rpc_port_parcel_write_int32(negative.get(), -5);
  int count = 9;
  EXPECT_EQ(rpc_port_parcel_read_array_count(negative.get(), &count),
            RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(count, 9);
}

TEST(Parcel, RejectsTruncatedHeader) {
  const Owned parcel = NewParcel();
  rpc_port_parcel_header_h header = nullptr;
  rpc_port_parcel_get_header(parcel.get(), &header);
  rpc_port_parcel_header_set_tag(header, "tag");
  const auto raw = Raw(parcel);
  for (size_t size = 1; size < raw.size(); ++size) {
    EXPECT_EQ(FromRaw({raw.begin(), raw.begin() + static_cast<ptrdiff_t>(size)}), nullptr) << size;
  }
  EXPECT_NE(FromRaw(raw), nullptr);
}

TEST(Parcel, RejectsValuesBeyondFrameLimit) {
  const Owned parcel = NewParcel();
  const std::vector<unsigned char> megabyte(1024 * 1024);
  int result = RPC_PORT_ERROR_NONE;
  int written = 0;
  while (result == RPC_PORT_ERROR_NONE && written < 100) {
    result = rpc_port_parcel_burst_write(parcel.get(), megabyte.data(),
                                         static_cast<unsigned int>(megabyte.size()));
    if (result == RPC_PORT_ERROR_NONE) ++written;
  }
  EXPECT_EQ(result, RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(written, 3);
}

TEST(Parcel, RejectsNullArguments) {
  const Owned parcel = NewParcel();
  EXPECT_EQ(rpc_port_parcel_create(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_destroy(nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_write_int32(nullptr, 1), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_write_string(parcel.get(), nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_write_bundle(parcel.get(), nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_read_int32(parcel.get(), nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_get_header(parcel.get(), nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  EXPECT_EQ(rpc_port_parcel_send(parcel.get(), nullptr), RPC_PORT_ERROR_INVALID_PARAMETER);
  rpc_port_parcel_h none = nullptr;
  EXPECT_EQ(rpc_port_parcel_create_from_port(&none, parcel.get()),
            RPC_PORT_ERROR_INVALID_PARAMETER);
}
