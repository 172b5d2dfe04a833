// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Wrappers of the platform's C functions that the library calls.

#include <app_control.h>
#include <dlog.h>
#include <rpc-port-parcel.h>
#include <rpc-port.h>
#include <tizen.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "platform/linux/app-control/launch-observer.h"
#include "recorder/connections.h"
#include "recorder/real.h"
#include "recorder/recorder.h"
#include "recorder/scope.h"
#include "recorder/target.h"

namespace tools::recorder {

namespace {

// The first value of a parcel that delivers a command.
constexpr int kCallbackMethod = 1;

void OnConnected(const char* sender, const char* instance, void* user_data) {
  const Peer peer{Text(sender), Text(instance)};
  Record("connected", [&](json::ValueWriter& json) {
    json.Member("handler", peer.handler).Member("instance", peer.instance);
  });
  Connections::Get().Add(peer);
  const auto& [callback, data] = TargetFrom<rpc_port_stub_connected_event_cb>(user_data);
  callback(sender, instance, data);
}

void OnDisconnected(const char* sender, const char* instance, void* user_data) {
  const Peer peer{Text(sender), Text(instance)};
  Record("disconnected", [&](json::ValueWriter& json) {
    json.Member("handler", peer.handler).Member("instance", peer.instance);
  });
  const auto& [callback, data] = TargetFrom<rpc_port_stub_disconnected_event_cb>(user_data);
  callback(sender, instance, data);
  Connections::Get().Remove(peer.instance);
}

int OnReceived(const char* sender, const char* instance, rpc_port_h port, void* user_data) {
  const std::string handler = Text(sender);
  const ReceiveScope scope(handler.c_str());
  const auto& [callback, data] = TargetFrom<rpc_port_stub_received_event_cb>(user_data);
  return callback(sender, instance, port, data);
}

struct ParcelDeleter {
  void operator()(rpc_port_parcel_h parcel) const {
    QOR_REAL(kRpcPortLibrary, rpc_port_parcel_destroy)(parcel);
  }
};
using Parcel = std::unique_ptr<void, ParcelDeleter>;

// Copies a parcel, because reading moves its cursor.
Parcel Copy(rpc_port_parcel_h parcel) {
  void* bytes = nullptr;
  unsigned int size = 0;
  rpc_port_parcel_h copy = nullptr;
  if (QOR_REAL(kRpcPortLibrary, rpc_port_parcel_get_raw)(parcel, &bytes, &size) !=
      RPC_PORT_ERROR_NONE) {
    return nullptr;
  }
  QOR_REAL(kRpcPortLibrary, rpc_port_parcel_create_from_raw)(&copy, bytes, size);
  return Parcel(copy);
}

// Returns the uuid of the command that a parcel delivers, or an empty string for other parcels.
std::string UuidOfCommandIn(rpc_port_parcel_h parcel) {
  const Parcel copy = Copy(parcel);
  if (!copy) return {};
  const auto read_int = QOR_REAL(kRpcPortLibrary, rpc_port_parcel_read_int32);
  int method = -1;
  read_int(copy.get(), &method);
  if (method != kCallbackMethod) return {};
  int ignored = 0;
  bool once = false;
  char* uuid = nullptr;
  read_int(copy.get(), &ignored);  // delegate
  read_int(copy.get(), &ignored);  // the handler's number of the callback
  QOR_REAL(kRpcPortLibrary, rpc_port_parcel_read_bool)(copy.get(), &once);
  QOR_REAL(kRpcPortLibrary, rpc_port_parcel_read_string)(copy.get(), &uuid);
  const std::unique_ptr<char, decltype(&std::free)> owned(uuid, std::free);
  return Text(uuid);
}

std::string AppIdOf(app_control_h request) {
  char* app_id = nullptr;
  QOR_REAL(kAppControlLibrary, app_control_get_app_id)(request, &app_id);
  const std::unique_ptr<char, decltype(&std::free)> owned(app_id, std::free);
  return Text(app_id);
}

void OnProcessEnd(const char* app_id, pid_t pid, const qor_platform_process_end_s* end, void*) {
  Record("exited", [&](json::ValueWriter& json) {
    json.Member("handler", Text(app_id))
        .Member("process", static_cast<std::int64_t>(pid))
        .Member("status", end->status)
        .Member("signal", end->signal)
        .Member("text", Text(end->text));
  });
}

// Records the ends of all processes that the program launches from now on.
void ObserveProcesses() {
  static std::once_flag once;
  std::call_once(once, [] {
    QOR_REAL(kAppControlLibrary, qor_platform_add_process_end_cb)(OnProcessEnd, nullptr);
  });
}

// Only the library's log names the handler of a command while that handler is connected but has not
// fetched its commands yet.
void RecordHandlerOf(const char* uuid, const char* format, va_list arguments) {
  constexpr char kLead[] = "Handler is [";
  if (std::strstr(format, kLead) == nullptr) return;
  char line[1024];
  std::vsnprintf(line, sizeof(line), format, arguments);
  const char* begin = std::strstr(line, kLead) + std::strlen(kLead);
  const char* end = std::strrchr(begin, ']');
  if (end == nullptr) return;
  const std::string handler(begin, end);
  Record("routed", [&](json::ValueWriter& json) {
    json.Member("uuid", Text(uuid)).Member("handler", handler);
  });
}

// Passes `own` to the platform in place of the library's callback.
template <typename Callback>
int AddCallback(int (*real)(rpc_port_stub_h, Callback, void*), rpc_port_stub_h stub,
                Callback callback, void* user_data, Callback own) {
  if (callback == nullptr || !Connections::Get().IsLibraryStub(stub)) {
    return real(stub, callback, user_data);
  }
  return real(stub, own, KeepTarget(callback, user_data));
}

}  // namespace

}  // namespace tools::recorder

using tools::recorder::AddCallback;
using tools::recorder::AppIdOf;
using tools::recorder::Connections;
using tools::recorder::Now;
using tools::recorder::ObserveProcesses;
using tools::recorder::OnConnected;
using tools::recorder::OnDisconnected;
using tools::recorder::OnReceived;
using tools::recorder::Recorder;
using tools::recorder::RecordHandlerOf;
using tools::recorder::SendScope;
using tools::recorder::Text;
using tools::recorder::UuidOfCommandIn;

EXPORT_API int rpc_port_stub_create(rpc_port_stub_h* h, const char* port_name) {
  const int code = QOR_REAL(kRpcPortLibrary, rpc_port_stub_create)(h, port_name);
  if (code == RPC_PORT_ERROR_NONE) Connections::Get().SetStub(*h, port_name);
  return code;
}

EXPORT_API int rpc_port_stub_add_connected_event_cb(rpc_port_stub_h h,
                                                    rpc_port_stub_connected_event_cb cb,
                                                    void* user_data) {
  return AddCallback(QOR_REAL(kRpcPortLibrary, rpc_port_stub_add_connected_event_cb), h, cb,
                     user_data, OnConnected);
}

EXPORT_API int rpc_port_stub_add_disconnected_event_cb(rpc_port_stub_h h,
                                                       rpc_port_stub_disconnected_event_cb cb,
                                                       void* user_data) {
  return AddCallback(QOR_REAL(kRpcPortLibrary, rpc_port_stub_add_disconnected_event_cb), h, cb,
                     user_data, OnDisconnected);
}

EXPORT_API int rpc_port_stub_add_received_event_cb(rpc_port_stub_h h,
                                                   rpc_port_stub_received_event_cb cb,
                                                   void* user_data) {
  return AddCallback(QOR_REAL(kRpcPortLibrary, rpc_port_stub_add_received_event_cb), h, cb,
                     user_data, OnReceived);
}

EXPORT_API int rpc_port_stub_get_port(rpc_port_stub_h h, rpc_port_port_type_e type,
                                      const char* instance, rpc_port_h* port) {
  const int code = QOR_REAL(kRpcPortLibrary, rpc_port_stub_get_port)(h, type, instance, port);
  if (code == RPC_PORT_ERROR_NONE && type == RPC_PORT_PORT_CALLBACK) {
    Connections::Get().SetCallbackPort(*port, instance);
  }
  return code;
}

EXPORT_API int rpc_port_parcel_send(rpc_port_parcel_h h, rpc_port_h port) {
  const auto real = QOR_REAL(kRpcPortLibrary, rpc_port_parcel_send);
  const auto peer = Connections::Get().OfCallbackPort(port);
  const std::string uuid = peer ? UuidOfCommandIn(h) : "";
  // The answer may arrive on the main loop's thread before the send returns, so the time is taken
  // first.
  const std::int64_t begin = Now();
  const int code = real(h, port);
  if (!uuid.empty()) {
    Recorder::Get().Write(begin, "delivered", [&](json::ValueWriter& json) {
      json.Member("uuid", uuid)
          .Member("handler", peer->handler)
          .Member("instance", peer->instance)
          .Member("code", code);
    });
  }
  return code;
}

EXPORT_API int app_control_send_launch_request(app_control_h app_control,
                                               app_control_reply_cb callback, void* user_data) {
  const auto real = QOR_REAL(kAppControlLibrary, app_control_send_launch_request);
  ObserveProcesses();
  const std::int64_t begin = Now();
  const int code = real(app_control, callback, user_data);
  if (const char* uuid = SendScope::Current()) {
    Recorder::Get().Write(begin, "launched", [&](json::ValueWriter& json) {
      json.Member("uuid", Text(uuid)).Member("handler", AppIdOf(app_control)).Member("code", code);
    });
  }
  return code;
}

EXPORT_API int dlog_print(log_priority prio, const char* tag, const char* fmt, ...) {
  const auto real = QOR_REAL(kLogLibrary, dlog_vprint);
  va_list arguments;
  va_start(arguments, fmt);
  const char* uuid = SendScope::Current();
  if (uuid != nullptr && fmt != nullptr) {
    va_list copy;
    va_copy(copy, arguments);
    RecordHandlerOf(uuid, fmt, copy);
    va_end(copy);
  }
  const int result = real(prio, tag, fmt, arguments);
  va_end(arguments);
  return result;
}
