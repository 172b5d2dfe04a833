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

#include "platform/linux/common/ecore-reference.h"
#include "platform/linux/common/message-server.h"
#include "platform/linux/package-manager/package-event.h"

namespace platform {

// What one package manager handle wants to hear.
struct Subscription {
  bool Wants(package_manager_event_type_e type) const;

  bool has_status = false;
  int status = PACKAGE_MANAGER_STATUS_TYPE_ALL;
  package_manager_event_cb callback = nullptr;
  void* user_data = nullptr;
};

// This process's ear: serves its event socket on the Ecore main loop while any subscription is in.
// All functions but OwnName() belong to the main loop's thread.
class EventListener final : private MessageObserver {
 public:
  static EventListener& Instance();
  EventListener(const EventListener&) = delete;
  EventListener& operator=(const EventListener&) = delete;

  // Throws std::system_error when the socket cannot be made.
  void Add(const std::shared_ptr<Subscription>& subscription);
  // The subscription has no callback any more; events that are being delivered pass it by.
  void Remove(const std::shared_ptr<Subscription>& subscription);

  // Runs the callbacks of the subscriptions that want the event. They may add and remove any.
  void Deliver(const PackageEvent& event);

  // The socket's name in its folder; empty while nobody listens.
  std::string OwnName() const;

 private:
  // What is there while any subscription is in.
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
