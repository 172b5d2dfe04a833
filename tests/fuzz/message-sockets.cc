// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The sockets for package events and launch requests: several senders connect, send fragments and
// disconnect in any order. No connection may leak.

#include <package_manager.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "input.h"
#include "loop.h"
#include "platform/linux/application/request-server.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/package-manager/package-event.h"
#include "target.h"

namespace {

using platform::UniqueFd;

constexpr size_t kMaxSenders = 2 * platform::MessageServer::kMaxSenders;
constexpr char kRequests[] = "requests";

class Sockets {
 public:
  Sockets() {
    package_manager_create(&manager_);
    package_manager_set_event_status(manager_, PACKAGE_MANAGER_STATUS_TYPE_ALL);
    package_manager_set_event_cb(
        manager_,
        [](const char*, const char*, package_manager_event_type_e, package_manager_event_state_e,
           int, package_manager_error_e, void*) {},
        nullptr);
    fuzz::Require(static_cast<bool>(ToEvents()), "events have a socket");
  }
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;
  ~Sockets() { package_manager_destroy(manager_); }

  static UniqueFd ToEvents() {
    return platform::ConnectTo(platform::RootPath() + "/" + platform::kEventSocketFolder,
                               std::to_string(getpid()));
  }
  static UniqueFd ToRequests() { return platform::ConnectTo(fuzz::ScratchFolder(), kRequests); }

  // Other descriptors do not count: the fuzzer itself may start a symbolizer, with pipes to it.
  static size_t OpenSockets() {
    size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code closed_meanwhile;
      const auto target = std::filesystem::read_symlink(entry.path(), closed_meanwhile);
      if (target.string().rfind("socket:", 0) == 0) ++count;
    }
    return count;
  }

  // Runs the loop until at most `sockets` are open. Gives up after as many iterations as senders.
  static void DrainTo(size_t sockets) {
    for (size_t i = 0; i < kMaxSenders && OpenSockets() > sockets; ++i) fuzz::RunLoop();
  }

 private:
  package_manager_h manager_ = nullptr;
  const platform::RequestServer requests_{platform::ListenAt(fuzz::ScratchFolder(), kRequests),
                                          [](app_control_h) {}};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::StartLoop();
  fuzz::ScratchFolder();
  static const Sockets sockets;
  // Counted after the first input, which opens the platform's permanent descriptors.
  static const size_t before = [] {
    Sockets::ToRequests();
    fuzz::RunLoop();
    return Sockets::OpenSockets();
  }();
  fuzz::Input input(data, size);
  std::vector<UniqueFd> senders;
  while (!input.IsOver()) {
    const size_t step = input.Below(5);
    if (step <= 1 && senders.size() < kMaxSenders) {
      senders.push_back(step == 0 ? Sockets::ToEvents() : Sockets::ToRequests());
    } else if (step == 2) {
      fuzz::RunLoop();
    } else if (!senders.empty()) {
      UniqueFd& sender = senders[input.Below(senders.size())];
      const std::string piece = input.Text();
      if (step == 3) {
        send(sender.Get(), piece.data(), piece.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      } else {
        sender.Reset();
      }
    }
  }
  senders.clear();
  Sockets::DrainTo(before);
  fuzz::Require(Sockets::OpenSockets() <= before, "no connection leaks");
  return 0;
}
