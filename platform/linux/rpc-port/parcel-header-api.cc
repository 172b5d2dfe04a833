// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port-parcel.h>
#include <tizen.h>

#include <cstring>

#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/parcel.h"

using platform::rpc::kBoundary;
using platform::rpc::Parcel;
using platform::rpc::ParcelHeader;

EXPORT_API int rpc_port_parcel_get_header(rpc_port_parcel_h h, rpc_port_parcel_header_h* header) {
  if (h == nullptr || header == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  *header = &static_cast<Parcel*>(h)->header();
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_header_set_tag(rpc_port_parcel_header_h header, const char* tag) {
  if (header == nullptr || tag == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  if (strnlen(tag, Parcel::kMaxTag + 1) > Parcel::kMaxTag) return RPC_PORT_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([&] {
    static_cast<ParcelHeader*>(header)->tag = tag;
    return RPC_PORT_ERROR_NONE;
  });
}

EXPORT_API int rpc_port_parcel_header_get_tag(rpc_port_parcel_header_h header, char** tag) {
  if (header == nullptr || tag == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  char* copy = strdup(static_cast<ParcelHeader*>(header)->tag.c_str());
  if (copy == nullptr) return RPC_PORT_ERROR_OUT_OF_MEMORY;
  *tag = copy;
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_header_set_seq_num(rpc_port_parcel_header_h header, int seq_num) {
  if (header == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  static_cast<ParcelHeader*>(header)->sequence = seq_num;
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_header_get_seq_num(rpc_port_parcel_header_h header, int* seq_num) {
  if (header == nullptr || seq_num == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  *seq_num = static_cast<ParcelHeader*>(header)->sequence;
  return RPC_PORT_ERROR_NONE;
}

EXPORT_API int rpc_port_parcel_header_get_timestamp(rpc_port_parcel_header_h header,
                                                    struct timespec* timestamp) {
  if (header == nullptr || timestamp == nullptr) return RPC_PORT_ERROR_INVALID_PARAMETER;
  *timestamp = static_cast<ParcelHeader*>(header)->created;
  return RPC_PORT_ERROR_NONE;
}
