// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_SRC_WIRE_H_
#define QOR_HANDLER_SRC_WIRE_H_

#include <rpc-port-parcel.h>
#include <rpc-port.h>

#include <memory>
#include <optional>
#include <string>

#include "records.h"

namespace qor::internal::wire {

// The parcels of the interface in CommandHandler.tidl.

inline constexpr char kPortName[] = "CommandHandler";

struct ParcelDeleter {
  void operator()(rpc_port_parcel_h parcel) const { rpc_port_parcel_destroy(parcel); }
};
using Parcel = std::unique_ptr<void, ParcelDeleter>;

// Calls of the agent. Throw std::bad_alloc when the platform cannot create a parcel.
Parcel Registration();
Parcel Result(const std::string& uuid, const Answer& answer);
Parcel ExtensionRequest(const std::string& uuid, double seconds);

// Blocks until the next parcel of a port. Returns null when the port fails or times out.
Parcel Receive(rpc_port_h port);

// Decode a parcel from the agent; nothing when it is of another kind or truncated. `agent` of the
// command is left empty.
std::optional<bool> ReadReply(rpc_port_parcel_h parcel);
std::optional<ReceivedCommand> ReadDelivery(rpc_port_parcel_h parcel);

}  // namespace qor::internal::wire

#endif
