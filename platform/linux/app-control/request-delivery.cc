// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/request-delivery.h"

#include <Ecore.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "platform/linux/common/message.h"

namespace platform {

RequestDelivery::RequestDelivery(const std::string& app_id, const std::vector<uint8_t>& request,
                                 UniqueFd connection, LostCallback on_lost)
    : app_id_(app_id),
      request_(request),
      connection_(std::move(connection)),
      on_lost_(on_lost),
      watch_(connection_.Get(), this) {
  watch_.WatchReading(true);
}

std::list<RequestDelivery>& RequestDelivery::InFlight() {
  // Never destroyed: destructors of static objects may launch applications.
  static auto* const in_flight = new std::list<RequestDelivery>;
  return *in_flight;
}

bool RequestDelivery::Send(const std::string& app_id, const std::vector<uint8_t>& request,
                           UniqueFd connection, std::chrono::milliseconds limit,
                           LostCallback on_lost) {
  if (!eina_main_loop_is()) return SendMessage(connection.Get(), request, limit);
  // Allocates before it sends: when out of memory, nothing has been sent.
  std::list<RequestDelivery> added;
  added.emplace_back(app_id, request, std::move(connection), on_lost);
  if (!SendMessage(added.back().connection_.Get(), request, limit)) return false;
  std::list<RequestDelivery>& in_flight = InFlight();
  in_flight.remove_if([&](const RequestDelivery& earlier) { return earlier.app_id_ == app_id; });
  in_flight.splice(in_flight.end(), added);
  return true;
}

void RequestDelivery::OnReady(bool, bool) {
  char acknowledgement;
  const ssize_t count = recv(connection_.Get(), &acknowledgement, 1, MSG_DONTWAIT);
  if (count < 0 && errno == EAGAIN) return;
  // Leaves the list first: the callback may send another request to the application.
  std::list<RequestDelivery>& in_flight = InFlight();
  std::list<RequestDelivery> self;
  self.splice(self.end(), in_flight,
              std::find_if(in_flight.begin(), in_flight.end(),
                           [this](const RequestDelivery& other) { return &other == this; }));
  if (count != 1) on_lost_(app_id_, request_);
}

}  // namespace platform
