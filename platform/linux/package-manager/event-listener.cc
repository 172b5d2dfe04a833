// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/event-listener.h"

#include <dlog.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <optional>
#include <system_error>

#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/errors.h"

namespace platform {
namespace {

constexpr double kPauseSeconds = 1.0;

// A machine without a system bus would get pages of errors from Ecore's system modules.
__attribute__((constructor)) void SwitchOffSystemModules() { ecore_app_no_system_modules(); }

}  // namespace

bool Subscription::Wants(package_manager_event_type_e type) const {
  if (!has_status || callback == nullptr) return false;
  if (status == PACKAGE_MANAGER_STATUS_TYPE_ALL) return true;
  switch (type) {
    case PACKAGE_MANAGER_EVENT_TYPE_INSTALL:
      return (status & PACKAGE_MANAGER_STATUS_TYPE_INSTALL) != 0;
    case PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL:
      return (status & PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL) != 0;
    case PACKAGE_MANAGER_EVENT_TYPE_UPDATE:
      return (status & PACKAGE_MANAGER_STATUS_TYPE_UPGRADE) != 0;
  }
  return false;
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
  const std::vector<std::shared_ptr<Subscription>> present = subscriptions_;
  for (const auto& subscription : present) {
    // One that was removed meanwhile has no callback any more.
    if (!subscription->Wants(event.type)) continue;
    subscription->callback(event.package_type.c_str(), event.package_id.c_str(), event.type,
                           event.state, event.progress, event.error, subscription->user_data);
  }
}

std::string EventListener::OwnName() const {
  std::lock_guard<std::mutex> lock(name_mutex_);
  return name_;
}

void EventListener::Start() {
  folder_ = FolderBelowRoot(kEventSocketFolder);
  // The name tells installers whose socket it is.
  const std::string name = std::to_string(getpid());
  unlink((folder_ + "/" + name).c_str());
  UniqueFd socket = ListenAt(folder_, name);
  if (!socket)
    throw std::system_error(errno, std::generic_category(),
                            "cannot listen at " + folder_ + "/" + name);
  socket_ = std::move(socket);
  // Keeps Ecore up while its handler is in use.
  ecore_init();
  handler_ =
      ecore_main_fd_handler_add(socket_.Get(), ECORE_FD_READ, OnConnect, this, nullptr, nullptr);
  std::lock_guard<std::mutex> lock(name_mutex_);
  name_ = name;
}

void EventListener::Stop() {
  for (Connection& connection : connections_) ecore_main_fd_handler_del(connection.handler);
  connections_.clear();
  if (pause_ != nullptr) ecore_timer_del(pause_);
  pause_ = nullptr;
  ecore_main_fd_handler_del(handler_);
  handler_ = nullptr;
  socket_.Reset();
  ecore_shutdown();
  std::lock_guard<std::mutex> lock(name_mutex_);
  unlink((folder_ + "/" + name_).c_str());
  name_.clear();
}

void EventListener::Pause() {
  ecore_main_fd_handler_active_set(handler_, static_cast<Ecore_Fd_Handler_Flags>(0));
  pause_ = ecore_timer_add(
      kPauseSeconds,
      [](void* data) -> Eina_Bool {
        auto* listener = static_cast<EventListener*>(data);
        listener->pause_ = nullptr;
        ecore_main_fd_handler_active_set(listener->handler_, ECORE_FD_READ);
        return ECORE_CALLBACK_CANCEL;
      },
      this);
}

Eina_Bool EventListener::OnConnect(void* data, Ecore_Fd_Handler*) {
  auto* listener = static_cast<EventListener*>(data);
  try {
    listener->Accept();
  } catch (const std::bad_alloc&) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "no memory to hear of a package event: in a moment");
    listener->Pause();
  }
  return ECORE_CALLBACK_RENEW;
}

void EventListener::Accept() {
  // First, while it can still be put off.
  std::list<Connection> added(1);
  Connection& connection = added.back();
  connection.socket =
      UniqueFd(accept4(socket_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!connection.socket) {
    // The connection that cannot be accepted keeps the socket readable: going on would spin.
    if (errno == EMFILE || errno == ENFILE) Pause();
    return;
  }
  connection.handler = ecore_main_fd_handler_add(connection.socket.Get(), ECORE_FD_READ, OnReadable,
                                                 &connection, nullptr, nullptr);
  connections_.splice(connections_.end(), added);
}

Eina_Bool EventListener::OnReadable(void* data, Ecore_Fd_Handler* handler) {
  auto* connection = static_cast<Connection*>(data);
  EventListener& listener = Instance();
  UniqueFd socket;
  const auto take_out = [&] {
    socket = std::move(connection->socket);
    ecore_main_fd_handler_del(handler);
    listener.connections_.remove_if([=](const Connection& other) { return &other == connection; });
  };
  try {
    const MessageReader::State state = connection->reader.ReadFrom(connection->socket.Get());
    if (state == MessageReader::State::kPartial) return ECORE_CALLBACK_RENEW;
    std::optional<PackageEvent> event;
    if (state == MessageReader::State::kComplete) event = DecodeEvent(connection->reader.Bytes());
    // First: the callbacks may stop the listener.
    take_out();
    if (event) {
      listener.Deliver(*event);
    } else {
      dlog_print(DLOG_WARN, kPackageLogTag, "dropped a message that is no package event");
    }
  } catch (const std::bad_alloc&) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "no memory to hear of a package event: it is lost");
    if (!socket) take_out();
  }
  const char acknowledgement = 1;
  send(socket.Get(), &acknowledgement, sizeof acknowledgement, MSG_NOSIGNAL | MSG_DONTWAIT);
  return ECORE_CALLBACK_CANCEL;
}

}  // namespace platform
