// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_LISTENER_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_EVENT_LISTENER_H_

#include <package_manager.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/common/loop-watch.h"
#include "platform/linux/common/message-server.h"
#include "platform/linux/package-manager/package-event.h"

namespace platform {

// The event filter and callback of one package manager handle. Shared by the handle and the
// listener: the callback may release the handle.
struct Subscription {
  bool Matches(package_manager_event_type_e type) const;

  bool has_status = false;
  int status = PACKAGE_MANAGER_STATUS_TYPE_ALL;
  package_manager_event_cb callback = nullptr;
  void* user_data = nullptr;
};

// Receives package events for this process. Serves an event socket on the Ecore main loop while
// there is a subscription. Main loop's thread only, except for SocketName().
class EventListener final : private MessageObserver {
 public:
  static EventListener& Instance();
  EventListener(const EventListener&) = delete;
  EventListener& operator=(const EventListener&) = delete;

  // Throws std::system_error when the socket cannot be created.
  void Add(const std::shared_ptr<Subscription>& subscription);
  // The caller has cleared the subscription's callback, so that an event whose delivery is in
  // progress skips it.
  void Remove(const std::shared_ptr<Subscription>& subscription);

  // Runs the callbacks of the subscriptions that match the event. Callbacks may add and remove
  // subscriptions.
  void Deliver(const PackageEvent& event);

  // Returns the socket's name in its folder, empty while there is no subscription. Thread-safe.
  std::string SocketName() const;

 private:
  // Exists while there is a subscription.
  struct Server {
    Server(UniqueFd listening_socket, EventListener* listener);

    const EcoreReference ecore;
    MessageServer messages;
  };

  EventListener() = default;
  void OnMessage(const std::vector<uint8_t>& bytes, const PeerCredentials& sender,
                 const UniqueFd& connection) noexcept override;
  void Start();
  void Stop();
  bool Has(const std::shared_ptr<Subscription>& subscription) const;

  std::vector<std::shared_ptr<Subscription>> subscriptions_;
  std::optional<Server> server_;
  std::string folder_;
  mutable std::mutex name_mutex_;
  std::string name_;
};

}  // namespace platform

#endif
