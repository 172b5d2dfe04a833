// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/event-listener.h"

#include <dlog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/event-verification.h"

namespace platform {

EventListener::Server::Server(UniqueFd listening_socket, EventListener* listener)
    : messages(std::move(listening_socket), kPackageLogTag, listener) {}

bool Subscription::Matches(package_manager_event_type_e type) const {
  if (!has_status || callback == nullptr) return false;
  if (status == PACKAGE_MANAGER_STATUS_TYPE_ALL) return true;
  switch (type) {
    case PACKAGE_MANAGER_EVENT_TYPE_INSTALL:
      return (status & PACKAGE_MANAGER_STATUS_TYPE_INSTALL) != 0;
    case PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL:
      return (status & PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL) != 0;
    case PACKAGE_MANAGER_EVENT_TYPE_UPDATE:
      return (status & PACKAGE_MANAGER_STATUS_TYPE_UPGRADE) != 0;
    default:
      return false;  // this platform sends no other types
  }
}

EventListener& EventListener::Instance() {
  // Never destroyed: handles may be released by destructors of static objects.
  static EventListener* const listener = new EventListener;
  return *listener;
}

bool EventListener::Has(const std::shared_ptr<Subscription>& subscription) const {
  return std::find(subscriptions_.begin(), subscriptions_.end(), subscription) !=
         subscriptions_.end();
}

void EventListener::Add(const std::shared_ptr<Subscription>& subscription) {
  if (Has(subscription)) return;
  if (subscriptions_.empty()) Start();
  subscriptions_.push_back(subscription);
}

void EventListener::Remove(const std::shared_ptr<Subscription>& subscription) {
  if (!Has(subscription)) return;
  subscriptions_.erase(std::find(subscriptions_.begin(), subscriptions_.end(), subscription));
  if (subscriptions_.empty()) Stop();
}

void EventListener::Deliver(const PackageEvent& event) {
  // A copy: callbacks may add and remove subscriptions.
  const std::vector<std::shared_ptr<Subscription>> subscriptions = subscriptions_;
  for (const auto& subscription : subscriptions) {
    // No match if an earlier callback has removed the subscription.
    if (!subscription->Matches(event.type)) continue;
    subscription->callback(event.package_type.c_str(), event.package_id.c_str(), event.type,
                           event.state, event.progress, event.error, subscription->user_data);
  }
}

std::string EventListener::SocketName() const {
  std::lock_guard<std::mutex> lock(name_mutex_);
  return name_;
}

void EventListener::Start() {
  folder_ = FolderBelowRoot(kEventSocketFolder);
  // Installers remove the socket when the process in its name has exited.
  const std::string name = std::to_string(getpid());
  unlink((folder_ + "/" + name).c_str());
  UniqueFd socket = ListenAt(folder_, name);
  if (!socket)
    throw std::system_error(errno, std::generic_category(),
                            "cannot listen at " + folder_ + "/" + name);
  server_.emplace(std::move(socket), this);
  std::lock_guard<std::mutex> lock(name_mutex_);
  name_ = name;
}

void EventListener::Stop() {
  server_.reset();
  std::lock_guard<std::mutex> lock(name_mutex_);
  unlink((folder_ + "/" + name_).c_str());
  name_.clear();
}

void EventListener::OnMessage(const std::vector<uint8_t>& bytes, const PeerCredentials& sender,
                              const UniqueFd& connection) noexcept {
  try {
    const auto event = DecodeEvent(bytes);
    if (!event) {
      dlog_print(DLOG_WARN, kPackageLogTag, "dropped a message that is not a package event");
    } else if (!VerifyEvent(*event, sender.pid)) {
      dlog_print(DLOG_WARN, kPackageLogTag,
                 "dropped a forged event from process %d: package %s has another state in the "
                 "package database",
                 sender.pid, event->package_id.c_str());
    } else {
      Deliver(*event);
    }
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "lost a package event: %s", error.what());
  }
  Acknowledge(connection.Get());
}

}  // namespace platform
