// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/event-listener.h"

#include <dlog.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/errors.h"

namespace platform {

// An installer, until its event has been delivered.
class EventListener::Connection final : private LoopTarget {
 public:
  void Open(UniqueFd socket) {
    socket_ = std::move(socket);
    watch_.emplace(socket_.Get(), static_cast<LoopTarget*>(this));
    watch_->WatchReading(true);
  }

 private:
  void OnReady(bool readable, bool writable) override;

  UniqueFd socket_;
  MessageReader reader_;
  std::optional<LoopWatch> watch_;
};

void EventListener::Connection::OnReady(bool, bool) {
  EventListener& listener = Instance();
  // Keeps this while the callbacks, which may stop the listener, run.
  std::list<Connection> self;
  const auto take_out = [&] {
    watch_.reset();
    const auto place = std::find_if(listener.connections_.begin(), listener.connections_.end(),
                                    [this](const Connection& other) { return &other == this; });
    self.splice(self.end(), listener.connections_, place);
  };
  try {
    const MessageReader::State state = reader_.ReadFrom(socket_.Get());
    if (state == MessageReader::State::kPartial) return;
    std::optional<PackageEvent> event;
    if (state == MessageReader::State::kComplete) event = DecodeEvent(reader_.Bytes());
    take_out();
    if (event) {
      listener.Deliver(*event);
    } else {
      dlog_print(DLOG_WARN, kPackageLogTag, "dropped a message that is no package event");
    }
  } catch (const std::bad_alloc&) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "no memory to hear of a package event: it is lost");
    if (self.empty()) take_out();
  }
  Acknowledge(socket_.Get());
}

EventListener::Server::Server(UniqueFd listening_socket, EventListener* listener)
    : socket(std::move(listening_socket)), watch(socket.Get(), listener), pause(&watch) {
  watch.WatchReading(true);
}

EventListener::EventListener() = default;

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
    default:
      return false;  // never raised here
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
  server_.emplace(std::move(socket), this);
  std::lock_guard<std::mutex> lock(name_mutex_);
  name_ = name;
}

void EventListener::Stop() {
  connections_.clear();
  server_.reset();
  std::lock_guard<std::mutex> lock(name_mutex_);
  unlink((folder_ + "/" + name_).c_str());
  name_.clear();
}

void EventListener::OnReady(bool, bool) {
  try {
    Accept();
  } catch (const std::bad_alloc&) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "no memory to hear of a package event: in a moment");
    server_->pause.Start();
  }
}

void EventListener::Accept() {
  // First, while it can still be put off.
  std::list<Connection> added(1);
  UniqueFd socket(accept4(server_->socket.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket) {
    if (errno == EMFILE || errno == ENFILE) server_->pause.Start();
    return;
  }
  added.back().Open(std::move(socket));
  connections_.splice(connections_.end(), added);
}

}  // namespace platform
