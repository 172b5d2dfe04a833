// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>
#include <tizen.h>

#include <memory>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/handle-table.h"
#include "platform/linux/rpc-port/names.h"
#include "platform/linux/rpc-port/stub.h"

using platform::rpc::Client;
using platform::rpc::HandleTable;
using platform::rpc::kBoundary;
using platform::rpc::Stub;

namespace {

std::shared_ptr<Stub> Find(rpc_port_stub_h h) { return HandleTable<Stub>::Get().Find(h); }

template <typename Callback>
int AddCallback(rpc_port_stub_h h, platform::rpc::CallbackList<Callback> Stub::*list,
                Callback callback, void* user_data) {
  const auto stub = Find(h);
  if (stub == nullptr || callback == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    ((*stub).*list).Add(callback, user_data);
    return RPC_PORT_ERROR_NONE;
  });
}

}  // namespace

EXPORT_API int rpc_port_stub_create(rpc_port_stub_h* h, const char* port_name) {
  if (h == nullptr || !platform::rpc::IsPortName(port_name)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
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
  const auto stub = Find(h);
  if (stub == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    stub->Listen();
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_stub_add_privilege(rpc_port_stub_h h, const char* privilege) {
  const auto stub = Find(h);
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
  const auto stub = Find(h);
  if (stub == nullptr || instance == nullptr || port == nullptr ||
      (type != RPC_PORT_PORT_MAIN && type != RPC_PORT_PORT_CALLBACK)) {
    return RPC_PORT_ERROR_INVALID_PARAMETER;
  }
  return kBoundary.Run([&] {
    const Client* client = stub->FindClient(instance);
    if (client == nullptr) return RPC_PORT_ERROR_IO_ERROR;
    *port = type == RPC_PORT_PORT_MAIN ? client->main().handle() : client->callback()->handle();
    return RPC_PORT_ERROR_NONE;
  });
}
