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

Delivery::Delivery(const std::string& app_id, const std::vector<uint8_t>& request,
                   UniqueFd connection, NotTaken not_taken)
    : app_id_(app_id),
      request_(request),
      connection_(std::move(connection)),
      not_taken_(not_taken),
      watch_(connection_.Get(), this) {
  watch_.WatchReading(true);
}

std::list<Delivery>& Delivery::Underway() {
  // Never destroyed: a program's static objects may launch applications when it ends.
  static auto* const underway = new std::list<Delivery>;
  return *underway;
}

bool Delivery::Start(const std::string& app_id, const std::vector<uint8_t>& request,
                     UniqueFd connection, std::chrono::milliseconds limit, NotTaken not_taken) {
  if (!eina_main_loop_is()) return SendMessage(connection.Get(), request, limit);
  // Before the request is sent, so that it is not when there is no memory to remember it.
  std::list<Delivery> added;
  added.emplace_back(app_id, request, std::move(connection), not_taken);
  if (!SendMessage(added.back().connection_.Get(), request, limit)) return false;
  std::list<Delivery>& underway = Underway();
  underway.remove_if([&](const Delivery& earlier) { return earlier.app_id_ == app_id; });
  underway.splice(underway.end(), added);
  return true;
}

void Delivery::OnReady(bool, bool) {
  char acknowledgement;
  const ssize_t count = recv(connection_.Get(), &acknowledgement, 1, MSG_DONTWAIT);
  if (count < 0 && errno == EAGAIN) return;
  // Out of the list first: what is called may start another delivery to the application.
  std::list<Delivery>& underway = Underway();
  std::list<Delivery> self;
  self.splice(self.end(), underway,
              std::find_if(underway.begin(), underway.end(),
                           [this](const Delivery& other) { return &other == this; }));
  if (count != 1) not_taken_(app_id_, request_);
}

}  // namespace platform
