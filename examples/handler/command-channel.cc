// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "command-channel.h"

#include <bundle.h>

#include <cstdlib>
#include <memory>
#include <utility>

namespace example {

namespace {

constexpr char kPortName[] = "CommandHandler";

// First value of every parcel.
constexpr int kResultMethod = 0;
constexpr int kCallbackMethod = 1;
constexpr int kSetCommandReceivedCbMethod = 2;
constexpr int kSendResultMethod = 3;
constexpr int kNegotiateTimeoutMethod = 4;

constexpr int kOnCommandReceivedDelegate = 1;

constexpr int kStatusSuccess = 0;
constexpr int kStatusFailed = 1;

struct ParcelDeleter {
  void operator()(rpc_port_parcel_h parcel) const { rpc_port_parcel_destroy(parcel); }
};
using Parcel = std::unique_ptr<void, ParcelDeleter>;

Parcel NewParcel(int method) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create(&parcel);
  rpc_port_parcel_write_int32(parcel, method);
  return Parcel(parcel);
}

Parcel TakeParcel(rpc_port_h port) {
  rpc_port_parcel_h parcel = nullptr;
  if (rpc_port_parcel_create_from_port(&parcel, port) != RPC_PORT_ERROR_NONE) return nullptr;
  return Parcel(parcel);
}

std::string ReadString(const Parcel& parcel) {
  char* text = nullptr;
  if (rpc_port_parcel_read_string(parcel.get(), &text) != RPC_PORT_ERROR_NONE) return {};
  const std::unique_ptr<char, decltype(&std::free)> owned(text, std::free);
  return text;
}

int ReadInt(const Parcel& parcel) {
  int value = -1;
  rpc_port_parcel_read_int32(parcel.get(), &value);
  return value;
}

}  // namespace

CommandChannel::CommandChannel(const std::string& agent_id, OnCommand on_command,
                               std::function<void()> on_closed)
    : on_command_(std::move(on_command)), on_closed_(std::move(on_closed)) {
  rpc_port_proxy_create(&proxy_);
  rpc_port_proxy_add_connected_event_cb(
      proxy_,
      [](const char*, const char*, rpc_port_h port, void* data) {
        static_cast<CommandChannel*>(data)->AskForCommands(port);
      },
      this);
  const auto close = [](const char*, const char*, void* data) {
    static_cast<CommandChannel*>(data)->Close();
  };
  rpc_port_proxy_add_rejected_event_cb(proxy_, close, this);
  rpc_port_proxy_add_disconnected_event_cb(proxy_, close, this);
  rpc_port_proxy_add_received_event_cb(
      proxy_,
      [](const char*, const char*, void* data) { static_cast<CommandChannel*>(data)->Receive(); },
      this);
  open_ = rpc_port_proxy_connect(proxy_, agent_id.c_str(), kPortName) == RPC_PORT_ERROR_NONE;
}

CommandChannel::~CommandChannel() { rpc_port_proxy_destroy(proxy_); }

bool CommandChannel::Succeed(const std::string& uuid, const std::string& result_json) {
  return SendResult(uuid, result_json, kStatusSuccess, "");
}

bool CommandChannel::Fail(const std::string& uuid, const std::string& error_json) {
  return SendResult(uuid, "", kStatusFailed, error_json);
}

bool CommandChannel::AskForSeconds(const std::string& uuid, double seconds) {
  const Parcel request = NewParcel(kNegotiateTimeoutMethod);
  rpc_port_parcel_write_string(request.get(), uuid.c_str());
  rpc_port_parcel_write_double(request.get(), seconds);
  return Call(request.get());
}

void CommandChannel::Close() {
  open_ = false;
  const auto on_closed = on_closed_;
  on_closed();
}

void CommandChannel::AskForCommands(rpc_port_h main_port) {
  const Parcel request = NewParcel(kSetCommandReceivedCbMethod);
  rpc_port_parcel_write_int32(request.get(), kOnCommandReceivedDelegate);
  rpc_port_parcel_write_int32(request.get(), 0);     // our number of this callback
  rpc_port_parcel_write_bool(request.get(), false);  // may be invoked again and again
  rpc_port_parcel_send(request.get(), main_port);
}

void CommandChannel::Receive() {
  rpc_port_h port = nullptr;
  if (rpc_port_proxy_get_port(proxy_, RPC_PORT_PORT_CALLBACK, &port) != RPC_PORT_ERROR_NONE) return;
  const Parcel parcel = TakeParcel(port);
  if (!parcel || ReadInt(parcel) != kCallbackMethod) return;
  ReadInt(parcel);  // delegate
  ReadInt(parcel);  // our number of the callback
  bool once = false;
  rpc_port_parcel_read_bool(parcel.get(), &once);
  ReadString(parcel);  // the uuid, which stands in the command too

  Command command;
  command.uuid = ReadString(parcel);
  command.request_type = ReadString(parcel);
  command.payload = ReadString(parcel);
  long long timestamp = 0;
  rpc_port_parcel_read_int64(parcel.get(), &timestamp);
  command.timestamp = timestamp;
  on_command_(*this, command);
}

bool CommandChannel::SendResult(const std::string& uuid, const std::string& result, int status,
                                const std::string& error) {
  const Parcel request = NewParcel(kSendResultMethod);
  rpc_port_parcel_write_string(request.get(), uuid.c_str());
  rpc_port_parcel_write_string(request.get(), result.c_str());
  rpc_port_parcel_write_int32(request.get(), status);
  rpc_port_parcel_write_string(request.get(), error.c_str());
  const std::unique_ptr<bundle, decltype(&bundle_free)> extra(bundle_create(), bundle_free);
  rpc_port_parcel_write_bundle(request.get(), extra.get());
  return Call(request.get());
}

bool CommandChannel::Call(rpc_port_parcel_h request) {
  rpc_port_h port = nullptr;
  if (rpc_port_proxy_get_port(proxy_, RPC_PORT_PORT_MAIN, &port) != RPC_PORT_ERROR_NONE)
    return false;
  if (rpc_port_parcel_send(request, port) != RPC_PORT_ERROR_NONE) return false;
  const Parcel reply = TakeParcel(port);
  bool answer = false;
  if (!reply || ReadInt(reply) != kResultMethod) return false;
  rpc_port_parcel_read_bool(reply.get(), &answer);
  return answer;
}

}  // namespace example
