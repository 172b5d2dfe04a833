// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>
#include <tizen.h>

#include <memory>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/handle-table.h"
#include "platform/linux/rpc-port/names.h"
#include "platform/linux/rpc-port/proxy.h"

using platform::rpc::HandleTable;
using platform::rpc::IsAppId;
using platform::rpc::IsPortName;
using platform::rpc::kBoundary;
using platform::rpc::Proxy;

namespace {

std::shared_ptr<Proxy> Find(rpc_port_proxy_h h) { return HandleTable<Proxy>::Get().Find(h); }

template <typename Callback>
int AddCallback(rpc_port_proxy_h h, platform::rpc::CallbackList<Callback> Proxy::*list,
                Callback callback, void* user_data) {
  const auto proxy = Find(h);
  if (proxy == nullptr || callback == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    ((*proxy).*list).Add(callback, user_data);
    return RPC_PORT_ERROR_NONE;
  });
}

}  // namespace

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
  const auto proxy = Find(h);
  if (proxy == nullptr || !IsAppId(appid) || !IsPortName(port)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return kBoundary.Run([&] { return proxy->Connect(appid, port); });
}

EXPORT_API int rpc_port_proxy_connect_sync(rpc_port_proxy_h h, const char* appid,
                                           const char* port_name) {
  const auto proxy = Find(h);
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
  const auto proxy = Find(h);
  if (proxy == nullptr || port == nullptr ||
      (type != RPC_PORT_PORT_MAIN && type != RPC_PORT_PORT_CALLBACK)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  if (!proxy->IsConnected()) return RPC_PORT_ERROR_IO_ERROR;
  *port = type == RPC_PORT_PORT_MAIN ? proxy->main().handle() : proxy->callback().handle();
  return RPC_PORT_ERROR_NONE;
}
