// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>
#include <tizen.h>

#include <memory>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/handle-table.h"
#include "platform/linux/rpc-port/owned-socket.h"
#include "platform/linux/rpc-port/port.h"
#include "platform/linux/rpc-port/proxy.h"
#include "platform/linux/rpc-port/stub.h"

using platform::rpc::CallbackList;
using platform::rpc::Client;
using platform::rpc::HandleTable;
using platform::rpc::IsAppId;
using platform::rpc::IsPortName;
using platform::rpc::kBoundary;
using platform::rpc::Port;
using platform::rpc::Proxy;
using platform::rpc::Stub;

namespace {

std::shared_ptr<Proxy> FindProxy(rpc_port_proxy_h h) { return HandleTable<Proxy>::Get().Find(h); }
std::shared_ptr<Stub> FindStub(rpc_port_stub_h h) { return HandleTable<Stub>::Get().Find(h); }

bool IsPortType(rpc_port_port_type_e type) {
  return type == RPC_PORT_PORT_MAIN || type == RPC_PORT_PORT_CALLBACK;
}

template <typename Object, typename Callback>
int AddCallback(void* handle, CallbackList<Callback> Object::*list, Callback callback,
                void* user_data) {
  const auto object = HandleTable<Object>::Get().Find(handle);
  if (object == nullptr || callback == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    ((*object).*list).Add(callback, user_data);
    return RPC_PORT_ERROR_NONE;
  });
}

}  // namespace

EXPORT_API int rpc_port_disconnect(rpc_port_h port) {
  const auto found = HandleTable<Port>::Get().Find(port);
  if (found == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  found->Disconnect();
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_proxy_create(rpc_port_proxy_h* h) {
  if (h == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    *h = HandleTable<Proxy>::Get().Add(std::make_shared<Proxy>());
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_proxy_destroy(rpc_port_proxy_h h) {
  const auto proxy = HandleTable<Proxy>::Get().Remove(h);
  if (proxy == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  proxy->Destroy();
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_proxy_connect(rpc_port_proxy_h h, const char* appid, const char* port) {
  const auto proxy = FindProxy(h);
  if (proxy == nullptr || !IsAppId(appid) || !IsPortName(port)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return kBoundary.Run([&] { return proxy->Connect(appid, port); });
}

EXPORT_API int rpc_port_proxy_connect_sync(rpc_port_proxy_h h, const char* appid,
                                           const char* port_name) {
  const auto proxy = FindProxy(h);
  if (proxy == nullptr || !IsAppId(appid) || !IsPortName(port_name)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return kBoundary.Run([&] { return proxy->ConnectSync(appid, port_name); });
}

EXPORT_API int rpc_port_proxy_add_connected_event_cb(rpc_port_proxy_h h,
                                                     rpc_port_proxy_connected_event_cb cb,
                                                     void* user_data) {
  return AddCallback(h, &Proxy::connected, cb, user_data);
}

EXPORT_API int rpc_port_proxy_add_disconnected_event_cb(rpc_port_proxy_h h,
                                                        rpc_port_proxy_disconnected_event_cb cb,
                                                        void* user_data) {
  return AddCallback(h, &Proxy::disconnected, cb, user_data);
}

EXPORT_API int rpc_port_proxy_add_rejected_event_cb(rpc_port_proxy_h h,
                                                    rpc_port_proxy_rejected_event_cb cb,
                                                    void* user_data) {
  return AddCallback(h, &Proxy::rejected, cb, user_data);
}

EXPORT_API int rpc_port_proxy_add_received_event_cb(rpc_port_proxy_h h,
                                                    rpc_port_proxy_received_event_cb cb,
                                                    void* user_data) {
  return AddCallback(h, &Proxy::received, cb, user_data);
}

EXPORT_API int rpc_port_proxy_get_port(rpc_port_proxy_h h, rpc_port_port_type_e type,
                                       rpc_port_h* port) {
  const auto proxy = FindProxy(h);
  if (proxy == nullptr || port == nullptr || !IsPortType(type)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  if (!proxy->IsConnected()) return RPC_PORT_ERROR_IO_ERROR;
  *port = type == RPC_PORT_PORT_MAIN ? proxy->main().handle() : proxy->callback().handle();
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_stub_create(rpc_port_stub_h* h, const char* port_name) {
  if (h == nullptr || !IsPortName(port_name)) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    *h = HandleTable<Stub>::Get().Add(std::make_shared<Stub>(port_name));
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_stub_destroy(rpc_port_stub_h h) {
  const auto stub = HandleTable<Stub>::Get().Remove(h);
  if (stub == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  stub->Destroy();
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_stub_listen(rpc_port_stub_h h) {
  const auto stub = FindStub(h);
  if (stub == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    stub->Listen();
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_stub_add_privilege(rpc_port_stub_h h, const char* privilege) {
  const auto stub = FindStub(h);
  if (stub == nullptr || privilege == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    stub->AddPrivilege(privilege);
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_stub_add_connected_event_cb(rpc_port_stub_h h,
                                                    rpc_port_stub_connected_event_cb cb,
                                                    void* user_data) {
  return AddCallback(h, &Stub::connected, cb, user_data);
}

EXPORT_API int rpc_port_stub_add_disconnected_event_cb(rpc_port_stub_h h,
                                                       rpc_port_stub_disconnected_event_cb cb,
                                                       void* user_data) {
  return AddCallback(h, &Stub::disconnected, cb, user_data);
}

EXPORT_API int rpc_port_stub_add_received_event_cb(rpc_port_stub_h h,
                                                   rpc_port_stub_received_event_cb cb,
                                                   void* user_data) {
  return AddCallback(h, &Stub::received, cb, user_data);
}

EXPORT_API int rpc_port_stub_get_port(rpc_port_stub_h h, rpc_port_port_type_e type,
                                      const char* instance, rpc_port_h* port) {
  const auto stub = FindStub(h);
  if (stub == nullptr || instance == nullptr || port == nullptr || !IsPortType(type)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return kBoundary.Run([&] {
    const Client* client = stub->FindClient(instance);
    if (client == nullptr) return RPC_PORT_ERROR_IO_ERROR;
    *port = type == RPC_PORT_PORT_MAIN ? client->main().handle() : client->callback()->handle();
    return RPC_PORT_ERROR_NONE;
  });
}
