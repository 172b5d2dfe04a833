// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <bundle_internal.h>
#include <dlog.h>
#include <rpc-port-parcel.h>
#include <tizen.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/parcel.h"

using platform::ByteView;
using platform::rpc::kBoundary;
using platform::rpc::Parcel;

namespace {

// Logs a value that does not fit, because many callers ignore the result of writes.
int ResultOf(bool fits, size_t size) {
  if (fits) return RPC_PORT_ERROR_NONE;
  dlog_print(DLOG_ERROR, platform::rpc::kLogTag,
             "cannot write %zu bytes: parcel limit of %zu bytes exceeded", size,
             Parcel::kMaxValues);
  return RPC_PORT_ERROR_INVALID_PARAMETER;
}

int Write(rpc_port_parcel_h h, const void* data, size_t size) {
  if (h == nullptr || data == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] { return ResultOf(static_cast<Parcel*>(h)->Write(data, size), size); });
}

int WriteSized(rpc_port_parcel_h h, const void* data, size_t size) {
  return kBoundary.Run(
      [&] { return ResultOf(static_cast<Parcel*>(h)->WriteSized(data, size), size); });
}

int Read(rpc_port_parcel_h h, void* data, size_t size) {
  if (h == nullptr || data == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return static_cast<Parcel*>(h)->Read(data, size) ? RPC_PORT_ERROR_NONE
                                                   : RPC_PORT_ERROR_INVALID_PARAMETER;
}

}  // namespace

EXPORT_API int rpc_port_parcel_write_byte(rpc_port_parcel_h h, char b) {
  return Write(h, &b, sizeof(b));
}

EXPORT_API int rpc_port_parcel_write_int16(rpc_port_parcel_h h, short i) {
  return Write(h, &i, sizeof(i));
}

EXPORT_API int rpc_port_parcel_write_int32(rpc_port_parcel_h h, int i) {
  return Write(h, &i, sizeof(i));
}

EXPORT_API int rpc_port_parcel_write_int64(rpc_port_parcel_h h, long long i) {
  return Write(h, &i, sizeof(i));
}

EXPORT_API int rpc_port_parcel_write_float(rpc_port_parcel_h h, float f) {
  return Write(h, &f, sizeof(f));
}

EXPORT_API int rpc_port_parcel_write_double(rpc_port_parcel_h h, double d) {
  return Write(h, &d, sizeof(d));
}

EXPORT_API int rpc_port_parcel_write_string(rpc_port_parcel_h h, const char* str) {
  if (h == nullptr || str == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return WriteSized(h, str, std::strlen(str) + 1);
}

EXPORT_API int rpc_port_parcel_write_bool(rpc_port_parcel_h h, bool b) {
  const uint8_t byte = b ? 1 : 0;
  return Write(h, &byte, sizeof(byte));
}

EXPORT_API int rpc_port_parcel_write_bundle(rpc_port_parcel_h h, bundle* b) {
  if (h == nullptr || b == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  bundle_raw* raw = nullptr;
  int size = 0;
  if (bundle_encode_raw(b, &raw, &size) != BUNDLE_ERROR_NONE) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  const int result = WriteSized(h, raw, static_cast<size_t>(size));
  std::free(raw);
  return result;
}

EXPORT_API int rpc_port_parcel_write_array_count(rpc_port_parcel_h h, int count) {
  if (count < 0) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return Write(h, &count, sizeof(count));
}

EXPORT_API int rpc_port_parcel_burst_write(rpc_port_parcel_h h, const unsigned char* buf,
                                           unsigned int size) {
  return Write(h, buf, size);
}

EXPORT_API int rpc_port_parcel_read_byte(rpc_port_parcel_h h, char* b) {
  return Read(h, b, sizeof(*b));
}

EXPORT_API int rpc_port_parcel_read_int16(rpc_port_parcel_h h, short* i) {
  return Read(h, i, sizeof(*i));
}

EXPORT_API int rpc_port_parcel_read_int32(rpc_port_parcel_h h, int* i) {
  return Read(h, i, sizeof(*i));
}

EXPORT_API int rpc_port_parcel_read_int64(rpc_port_parcel_h h, long long* i) {
  return Read(h, i, sizeof(*i));
}

EXPORT_API int rpc_port_parcel_read_float(rpc_port_parcel_h h, float* f) {
  return Read(h, f, sizeof(*f));
}

EXPORT_API int rpc_port_parcel_read_double(rpc_port_parcel_h h, double* d) {
  return Read(h, d, sizeof(*d));
}

EXPORT_API int rpc_port_parcel_read_string(rpc_port_parcel_h h, char** str) {
  if (h == nullptr || str == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  auto* parcel = static_cast<Parcel*>(h);
  ByteView text;
  // The only NUL of a string is its last byte.
  if (!parcel->PeekSized(&text) || text.size == 0 ||
      std::memchr(text.data, '\0', text.size) != text.data + text.size - 1) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  auto* copy = static_cast<char*>(std::malloc(text.size));
  if (copy == nullptr) return RPC_PORT_ERROR_OUT_OF_MEMORY;
  std::memcpy(copy, text.data, text.size);
  parcel->SkipSized(text);
  *str = copy;
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_read_bool(rpc_port_parcel_h h, bool* b) {
  uint8_t byte;
  if (b == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  const int result = Read(h, &byte, sizeof(byte));
  if (result == RPC_PORT_ERROR_NONE) *b = byte != 0;
  return result;
}

EXPORT_API int rpc_port_parcel_read_bundle(rpc_port_parcel_h h, bundle** b) {
  if (h == nullptr || b == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  auto* parcel = static_cast<Parcel*>(h);
  ByteView raw;
  if (!parcel->PeekSized(&raw)) return RPC_PORT_ERROR_INVALID_PARAMETER;
  bundle* decoded = bundle_decode_raw(raw.data, static_cast<int>(raw.size));
  if (decoded == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  parcel->SkipSized(raw);
  *b = decoded;
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_read_array_count(rpc_port_parcel_h h, int* count) {
  int value;
  if (count == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  if (Read(h, &value, sizeof(value)) != RPC_PORT_ERROR_NONE) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  if (value < 0) return RPC_PORT_ERROR_INVALID_PARAMETER;
  *count = value;
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_burst_read(rpc_port_parcel_h h, unsigned char* buf,
                                          unsigned int size) {
  return Read(h, buf, size);
}
