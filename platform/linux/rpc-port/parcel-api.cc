// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port-parcel.h>
#include <tizen.h>

#include <memory>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/handle-table.h"
#include "platform/linux/rpc-port/parcel.h"
#include "platform/linux/rpc-port/port.h"

using platform::ByteView;
using platform::rpc::HandleTable;
using platform::rpc::kBoundary;
using platform::rpc::Parcel;
using platform::rpc::Port;

EXPORT_API int rpc_port_parcel_create(rpc_port_parcel_h* h) {
  if (h == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    *h = new Parcel;
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_parcel_create_from_port(rpc_port_parcel_h* h, rpc_port_h port) {
  const auto found = HandleTable<Port>::Get().Find(port);
  if (h == nullptr || found == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    if (!found->WaitForFrame()) return RPC_PORT_ERROR_IO_ERROR;
    auto parcel = Parcel::TakeFrom(&found->reader());
    if (parcel == nullptr) {
      found->AbortConnection("a parcel with an invalid header");
      return RPC_PORT_ERROR_IO_ERROR;
    }
    *h = parcel.release();
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_parcel_create_from_raw(rpc_port_parcel_h* h, const void* raw,
                                               unsigned int size) {
  if (h == nullptr || raw == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    auto parcel = Parcel::FromBytes({static_cast<const uint8_t*>(raw), size});
    if (parcel == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
    *h = parcel.release();
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_parcel_send(rpc_port_parcel_h h, rpc_port_h port) {
  const auto found = HandleTable<Port>::Get().Find(port);
  if (h == nullptr || found == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    return found->Send(static_cast<Parcel*>(h)->Frame()) ? RPC_PORT_ERROR_NONE
                                                         : RPC_PORT_ERROR_IO_ERROR;
  });
}

EXPORT_API int rpc_port_parcel_destroy(rpc_port_parcel_h h) {
  if (h == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  delete static_cast<Parcel*>(h);
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_get_raw(rpc_port_parcel_h h, void** raw, unsigned int* size) {
  if (h == nullptr || raw == nullptr || size == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    const ByteView bytes = static_cast<Parcel*>(h)->Bytes();
    *raw = const_cast<uint8_t*>(bytes.data);
    *size = static_cast<unsigned int>(bytes.size);
    return RPC_PORT_ERROR_NONE;
  });
}
