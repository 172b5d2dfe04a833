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

// The parcels of the interface that CommandHandler.tidl describes.

inline constexpr char kPortName[] = "CommandHandler";

struct ParcelDeleter {
  void operator()(rpc_port_parcel_h parcel) const { rpc_port_parcel_destroy(parcel); }
};
using Parcel = std::unique_ptr<void, ParcelDeleter>;

// Calls to the agent. They throw std::bad_alloc when the platform has no memory for a parcel.
Parcel Registration();
Parcel Result(const std::string& uuid, const Answer& answer);
Parcel ExtensionRequest(const std::string& uuid, double seconds);

// The next parcel of a port; null when none comes.
Parcel Take(rpc_port_h port);

// What the agent says; nothing when it says something else. The agent's id is left empty.
std::optional<bool> ReadReply(rpc_port_parcel_h parcel);
std::optional<ReceivedCommand> ReadDelivery(rpc_port_parcel_h parcel);

}  // namespace qor::internal::wire

#endif
