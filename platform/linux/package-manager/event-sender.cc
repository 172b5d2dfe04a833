// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/event-sender.h"

#include <Ecore.h>
#include <dlog.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>

#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/event-listener.h"
#include "platform/linux/package-manager/file-system.h"

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

// A refused connection alone proves nothing: a new listener has bound its socket before it listens.
void RemoveSocketOfDeadProcess(const std::string& folder, const std::string& name) {
  pid_t owner = 0;
  std::from_chars(name.data(), name.data() + name.size(), owner);
  if (owner > 0 && kill(owner, 0) != 0 && errno == ESRCH) unlink((folder + "/" + name).c_str());
}

}  // namespace

struct EventSender::Delivery {
  std::string listener;
  UniqueFd socket;
};

void EventSender::Send(const PackageEvent& event) {
  const std::string own_socket = EventListener::Instance().SocketName();
  // This process's listener is called directly: on the main loop's thread it could not answer while
  // this function waits.
  const bool deliver_here = !own_socket.empty() && eina_main_loop_is();
  const std::vector<uint8_t> message = EncodeEvent(event);
  const std::string folder = FolderBelowRoot(kEventSocketFolder);
  std::vector<Delivery> deliveries;
  for (const std::string& name : ListFolder(folder)) {
    if (deliver_here && name == own_socket) continue;
    UniqueFd socket = ConnectTo(folder, name);
    if (!socket) {
      if (errno == ECONNREFUSED) RemoveSocketOfDeadProcess(folder, name);
    } else if (SendMessage(socket.Get(), message, kEventAckTimeout) &&
               unresponsive_.count(name) == 0) {
      deliveries.push_back({name, std::move(socket)});
    }
  }
  if (deliver_here) EventListener::Instance().Deliver(event);
  const bool precedes_removal = event.type == PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL &&
                                event.state == PACKAGE_MANAGER_EVENT_STATE_STARTED;
  AwaitAcks(&deliveries, precedes_removal ? kUninstallAckTimeout : kEventAckTimeout);
}

void EventSender::AwaitAcks(std::vector<Delivery>* deliveries, std::chrono::milliseconds timeout) {
  const Clock::time_point deadline = Clock::now() + timeout;
  while (!deliveries->empty()) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (left <= 0) break;
    std::vector<pollfd> entries;
    for (const Delivery& delivery : *deliveries)
      entries.push_back({delivery.socket.Get(), POLLIN, 0});
    if (poll(entries.data(), entries.size(), static_cast<int>(left)) < 0 && errno != EINTR)
      throw std::system_error(errno, std::generic_category(), "waiting for event listeners");
    // An acknowledgement, or end of file because the listener has exited.
    std::vector<Delivery> pending;
    for (size_t i = 0; i < entries.size(); ++i)
      if (entries[i].revents == 0) pending.push_back(std::move((*deliveries)[i]));
    *deliveries = std::move(pending);
  }
  for (const Delivery& delivery : *deliveries) {
    dlog_print(DLOG_WARN, kPackageLogTag, "listener %s has not acknowledged an event in time",
               delivery.listener.c_str());
    unresponsive_.insert(delivery.listener);
  }
}

}  // namespace platform
