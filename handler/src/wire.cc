// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "wire.h"

#include <bundle.h>

#include <cstdlib>
#include <new>

namespace qor::internal::wire {

namespace {

// The first value of every parcel: kinds of parcels from the agent, then methods of the handler.
constexpr int kReply = 0;
constexpr int kCallback = 1;
constexpr int kSetCommandReceivedCb = 2;
constexpr int kSendResult = 3;
constexpr int kNegotiateTimeout = 4;

constexpr int kOnCommandReceived = 1;

constexpr int kStatusSuccess = 0;
constexpr int kStatusFailed = 1;

Parcel NewCall(int method) {
  rpc_port_parcel_h parcel = nullptr;
  if (rpc_port_parcel_create(&parcel) != RPC_PORT_ERROR_NONE) throw std::bad_alloc();
  Parcel call(parcel);
  rpc_port_parcel_write_int32(parcel, method);
  return call;
}

bool Read(rpc_port_parcel_h parcel, int* value) {
  return rpc_port_parcel_read_int32(parcel, value) == RPC_PORT_ERROR_NONE;
}

bool Read(rpc_port_parcel_h parcel, bool* value) {
  return rpc_port_parcel_read_bool(parcel, value) == RPC_PORT_ERROR_NONE;
}

bool Read(rpc_port_parcel_h parcel, std::string* value) {
  char* text = nullptr;
  if (rpc_port_parcel_read_string(parcel, &text) != RPC_PORT_ERROR_NONE) return false;
  const std::unique_ptr<char, decltype(&std::free)> owned(text, std::free);
  if (text != nullptr) *value = text;
  return true;
}

bool Read(rpc_port_parcel_h parcel, std::int64_t* value) {
  long long number = 0;
  if (rpc_port_parcel_read_int64(parcel, &number) != RPC_PORT_ERROR_NONE) return false;
  *value = number;
  return true;
}

}  // namespace

Parcel Registration() {
  Parcel call = NewCall(kSetCommandReceivedCb);
  rpc_port_parcel_write_int32(call.get(), kOnCommandReceived);
  rpc_port_parcel_write_int32(call.get(), 0);     // sequence number of the callback
  rpc_port_parcel_write_bool(call.get(), false);  // not a one-shot callback
  return call;
}

Parcel Result(const std::string& uuid, const Answer& answer) {
  const char* const text = answer.text.c_str();
  Parcel call = NewCall(kSendResult);
  rpc_port_parcel_write_string(call.get(), uuid.c_str());
  rpc_port_parcel_write_string(call.get(), answer.succeeded ? text : "");
  rpc_port_parcel_write_int32(call.get(), answer.succeeded ? kStatusSuccess : kStatusFailed);
  rpc_port_parcel_write_string(call.get(), answer.succeeded ? "" : text);
  const std::unique_ptr<bundle, decltype(&bundle_free)> extra(bundle_create(), bundle_free);
  if (extra == nullptr) throw std::bad_alloc();
  rpc_port_parcel_write_bundle(call.get(), extra.get());
  return call;
}

Parcel ExtensionRequest(const std::string& uuid, double seconds) {
  Parcel call = NewCall(kNegotiateTimeout);
  rpc_port_parcel_write_string(call.get(), uuid.c_str());
  rpc_port_parcel_write_double(call.get(), seconds);
  return call;
}

Parcel Receive(rpc_port_h port) {
  rpc_port_parcel_h parcel = nullptr;
  if (rpc_port_parcel_create_from_port(&parcel, port) != RPC_PORT_ERROR_NONE) return nullptr;
  return Parcel(parcel);
}

std::optional<bool> ReadReply(rpc_port_parcel_h parcel) {
  int kind = -1;
  bool answer = false;
  if (!Read(parcel, &kind) || kind != kReply || !Read(parcel, &answer)) return std::nullopt;
  return answer;
}

std::optional<ReceivedCommand> ReadDelivery(rpc_port_parcel_h parcel) {
  int kind = -1;
  int delegate = -1;
  int callback = -1;
  bool once = false;
  std::string uuid;
  ReceivedCommand command;
  // The uuid comes twice: as an argument and in the command. The trailing extra data is not used.
  if (!Read(parcel, &kind) || kind != kCallback || !Read(parcel, &delegate) ||
      delegate != kOnCommandReceived || !Read(parcel, &callback) || !Read(parcel, &once) ||
      !Read(parcel, &uuid) || !Read(parcel, &command.uuid) || !Read(parcel, &command.type) ||
      !Read(parcel, &command.payload) || !Read(parcel, &command.time)) {
    return std::nullopt;
  }
  return command;
}

}  // namespace qor::internal::wire
