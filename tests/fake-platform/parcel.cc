// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port-parcel.h>
#include <time.h>

#include <cstring>

#include "state.h"

using fake::Bytes;
using fake::internal::FailAndFillOutput;
using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::Parcel;

namespace {

std::shared_ptr<Parcel> FindParcel(rpc_port_parcel_h h, const char* function) {
  return fake::internal::Find(GetState().parcels, h, function);
}

int ReturnParcel(fake::internal::ParcelContent content, rpc_port_parcel_h* h) {
  auto parcel = std::make_shared<Parcel>();
  parcel->content = std::move(content);
  *h = GetState().parcels.Add(parcel);
  return RPC_PORT_ERROR_NONE;
}

template <typename T>
int Write(rpc_port_parcel_h h, T value, const char* function) {
  const FunctionCall call(function);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, function);
  if (!parcel) return RPC_PORT_ERROR_INVALID_PARAMETER;
  fake::internal::AppendBytes(&parcel->content.body, &value, sizeof(value));
  return RPC_PORT_ERROR_NONE;
}

int ReadBytes(rpc_port_parcel_h h, void* output, size_t size, const char* function) {
  const FunctionCall call(function);
  if (call.error != 0) return FailAndFillOutput(output, size, call.error);
  const auto parcel = FindParcel(h, function);
  if (!parcel || !output || size == 0 ||
      !fake::internal::TakeBytes(parcel->content.body, &parcel->position, output, size)) {
    return FailAndFillOutput(output, size, RPC_PORT_ERROR_INVALID_PARAMETER);
  }
  return RPC_PORT_ERROR_NONE;
}

template <typename T>
int Read(rpc_port_parcel_h h, T* value, const char* function) {
  return ReadBytes(h, value, sizeof(*value), function);
}

// A header has the same handle value as its parcel.
std::shared_ptr<Parcel> FindHeader(rpc_port_parcel_header_h header, const char* function) {
  return FindParcel(header, function);
}

}  // namespace

extern "C" {

int rpc_port_parcel_create(rpc_port_parcel_h* h) {
  const FunctionCall call(__func__);
  if (call.error != 0) return FailAndFillOutput(h, sizeof(*h), call.error);
  if (!h) return RPC_PORT_ERROR_INVALID_PARAMETER;
  fake::internal::ParcelContent content;
  struct timespec now {};
  clock_gettime(CLOCK_MONOTONIC_RAW, &now);
  content.seconds = now.tv_sec;
  content.nanoseconds = now.tv_nsec;
  return ReturnParcel(std::move(content), h);
}

int rpc_port_parcel_create_from_port(rpc_port_parcel_h* h, rpc_port_h port) {
  const FunctionCall call(__func__);
  if (call.error != 0) return FailAndFillOutput(h, sizeof(*h), call.error);
  const auto from = fake::internal::Find(GetState().ports, port, __func__);
  if (!h || !from) return RPC_PORT_ERROR_INVALID_PARAMETER;
  if (from->incoming.empty() && from->is_proxy) fake::internal::AwaitReply(*from);
  fake::internal::ParcelContent content;
  if (from->incoming.empty() || !fake::internal::FromRaw(from->incoming.front(), &content)) {
    return RPC_PORT_ERROR_IO_ERROR;
  }
  from->incoming.pop_front();
  return ReturnParcel(std::move(content), h);
}

int rpc_port_parcel_create_from_raw(rpc_port_parcel_h* h, const void* raw, unsigned int size) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto* first = static_cast<const unsigned char*>(raw);
  fake::internal::ParcelContent content;
  if (!h || !raw || !fake::internal::FromRaw(Bytes(first, first + size), &content)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return ReturnParcel(std::move(content), h);
}

int rpc_port_parcel_send(rpc_port_parcel_h h, rpc_port_h port) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  const auto to = fake::internal::Find(GetState().ports, port, __func__);
  if (!parcel || !to) return RPC_PORT_ERROR_INVALID_PARAMETER;
  if (to->is_proxy) {
    return fake::internal::SendToStub(*to, fake::internal::ToRaw(parcel->content));
  }
  if (fake::internal::IsDead("")) return RPC_PORT_ERROR_IO_ERROR;
  int& sends_to_go = GetState().sends_until_disconnection;
  if (sends_to_go > 0 && --sends_to_go == 0) {
    fake::Disconnect(to->instance);
    return RPC_PORT_ERROR_IO_ERROR;
  }
  auto& sent = GetState().sent[{to->instance, to->type}];
  sent.push_back(fake::internal::ToRaw(parcel->content));
  fake::internal::SendToProxy(*to, sent.back());
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_destroy(rpc_port_parcel_h h) {
  const FunctionCall call(__func__);
  if (!FindParcel(h, __func__)) return RPC_PORT_ERROR_INVALID_PARAMETER;
  GetState().parcels.Remove(h);
  return call.error;
}

int rpc_port_parcel_write_byte(rpc_port_parcel_h h, char b) { return Write(h, b, __func__); }

int rpc_port_parcel_write_int16(rpc_port_parcel_h h, short i) { return Write(h, i, __func__); }

int rpc_port_parcel_write_int32(rpc_port_parcel_h h, int i) { return Write(h, i, __func__); }

int rpc_port_parcel_write_int64(rpc_port_parcel_h h, long long i) { return Write(h, i, __func__); }

int rpc_port_parcel_write_float(rpc_port_parcel_h h, float f) { return Write(h, f, __func__); }

int rpc_port_parcel_write_double(rpc_port_parcel_h h, double d) { return Write(h, d, __func__); }

int rpc_port_parcel_write_bool(rpc_port_parcel_h h, bool b) { return Write(h, b, __func__); }

int rpc_port_parcel_write_array_count(rpc_port_parcel_h h, int count) {
  return Write(h, count, __func__);
}

int rpc_port_parcel_write_string(rpc_port_parcel_h h, const char* str) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  if (!parcel || !str) return RPC_PORT_ERROR_INVALID_PARAMETER;
  const std::string text = str;
  fake::internal::AppendBlock(&parcel->content.body, text.data(), text.size());
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_write_bundle(rpc_port_parcel_h h, bundle* b) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  const auto object = fake::internal::Find(GetState().bundles, b, __func__);
  if (!parcel || !object) return RPC_PORT_ERROR_INVALID_PARAMETER;
  const Bytes raw = fake::internal::ToRaw(object->content);
  fake::internal::AppendBlock(&parcel->content.body, raw.data(), raw.size());
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_burst_write(rpc_port_parcel_h h, const unsigned char* buf, unsigned int size) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  if (!parcel || !buf || size == 0) return RPC_PORT_ERROR_INVALID_PARAMETER;
  fake::internal::AppendBytes(&parcel->content.body, buf, size);
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_read_byte(rpc_port_parcel_h h, char* b) { return Read(h, b, __func__); }

int rpc_port_parcel_read_int16(rpc_port_parcel_h h, short* i) { return Read(h, i, __func__); }

int rpc_port_parcel_read_int32(rpc_port_parcel_h h, int* i) { return Read(h, i, __func__); }

int rpc_port_parcel_read_int64(rpc_port_parcel_h h, long long* i) { return Read(h, i, __func__); }

int rpc_port_parcel_read_float(rpc_port_parcel_h h, float* f) { return Read(h, f, __func__); }

int rpc_port_parcel_read_double(rpc_port_parcel_h h, double* d) { return Read(h, d, __func__); }

int rpc_port_parcel_read_bool(rpc_port_parcel_h h, bool* b) {
  // Neither a byte of a peer nor garbage need be 0 or 1, which a bool must be.
  unsigned char byte = 0;
  const int error = b ? Read(h, &byte, __func__) : RPC_PORT_ERROR_INVALID_PARAMETER;
  if (b) *b = byte != 0;
  return error;
}

int rpc_port_parcel_read_array_count(rpc_port_parcel_h h, int* count) {
  return Read(h, count, __func__);
}

int rpc_port_parcel_read_string(rpc_port_parcel_h h, char** str) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  Bytes block;
  if (!parcel || !str ||
      !fake::internal::TakeBlock(parcel->content.body, &parcel->position, &block)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return fake::internal::ReturnText(std::string(block.begin(), block.end()), str);
}

int rpc_port_parcel_read_bundle(rpc_port_parcel_h h, bundle** b) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  Bytes block;
  fake::internal::BundleContent content;
  if (!parcel || !b ||
      !fake::internal::TakeBlock(parcel->content.body, &parcel->position, &block) ||
      !fake::internal::FromRaw(block, &content)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  auto object = std::make_shared<fake::internal::Bundle>();
  object->content = std::move(content);
  *b = static_cast<bundle*>(GetState().bundles.Add(object));
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_burst_read(rpc_port_parcel_h h, unsigned char* buf, unsigned int size) {
  return ReadBytes(h, buf, size, __func__);
}

int rpc_port_parcel_get_header(rpc_port_parcel_h h, rpc_port_parcel_header_h* header) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!FindParcel(h, __func__) || !header) return RPC_PORT_ERROR_INVALID_PARAMETER;
  *header = h;
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_header_set_tag(rpc_port_parcel_header_h header, const char* tag) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindHeader(header, __func__);
  if (!parcel || !tag) return RPC_PORT_ERROR_INVALID_PARAMETER;
  parcel->content.tag = tag;
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_header_get_tag(rpc_port_parcel_header_h header, char** tag) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindHeader(header, __func__);
  if (!parcel || !tag) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return fake::internal::ReturnText(parcel->content.tag, tag);
}

int rpc_port_parcel_header_set_seq_num(rpc_port_parcel_header_h header, int seq_num) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindHeader(header, __func__);
  if (!parcel) return RPC_PORT_ERROR_INVALID_PARAMETER;
  parcel->content.sequence_number = seq_num;
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_header_get_seq_num(rpc_port_parcel_header_h header, int* seq_num) {
  const FunctionCall call(__func__);
  if (call.error != 0) return FailAndFillOutput(seq_num, sizeof(*seq_num), call.error);
  const auto parcel = FindHeader(header, __func__);
  if (!parcel || !seq_num) {
    return FailAndFillOutput(seq_num, sizeof(*seq_num), RPC_PORT_ERROR_INVALID_PARAMETER);
  }
  *seq_num = parcel->content.sequence_number;
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_header_get_timestamp(rpc_port_parcel_header_h header,
                                         struct timespec* timestamp) {
  const FunctionCall call(__func__);
  if (call.error != 0) return FailAndFillOutput(timestamp, sizeof(*timestamp), call.error);
  const auto parcel = FindHeader(header, __func__);
  if (!parcel || !timestamp) {
    return FailAndFillOutput(timestamp, sizeof(*timestamp), RPC_PORT_ERROR_INVALID_PARAMETER);
  }
  timestamp->tv_sec = static_cast<time_t>(parcel->content.seconds);
  timestamp->tv_nsec = static_cast<long>(parcel->content.nanoseconds);
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_parcel_get_raw(rpc_port_parcel_h h, void** raw, unsigned int* size) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto parcel = FindParcel(h, __func__);
  if (!parcel || !raw || !size) return RPC_PORT_ERROR_INVALID_PARAMETER;
  parcel->raw = fake::internal::ToRaw(parcel->content);
  *raw = parcel->raw.data();
  *size = static_cast<unsigned int>(parcel->raw.size());
  return RPC_PORT_ERROR_NONE;
}

}  // extern "C"
