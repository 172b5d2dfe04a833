// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "peers/dbus-bus.h"

namespace bench {

namespace {

constexpr char kMachineId[] = "0123456789abcdef0123456789abcdef";

// A policy: batches per user, batches per console, group and user, labels of a security module, and
// whether another module is active. A batch has the rules for connect, own, send and receive.
#define BATCH "bta(btbs)a(btssssuutt)a(btssssuutt)"
#define POLICY "a(u(" BATCH "))a(buu(" BATCH "))a(ss)bs"

int Listen(const std::string& path) {
  const int socket_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  if (bind(socket_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(socket_fd, SOMAXCONN) != 0) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  return socket_fd;
}

// Allows everything to everybody.
void AppendPolicy(sd_bus_message* message) {
  constexpr std::uint32_t kEveryUser = UINT32_MAX;
  constexpr std::uint64_t kPriority = 1;
  constexpr std::uint64_t kAnyNumber = UINT64_MAX;
  RequireDBus(sd_bus_message_open_container(message, 'v', "(" POLICY ")"), "policy");
  RequireDBus(sd_bus_message_append(message, "(" POLICY ")", 1, kEveryUser,  //
                                    true, kPriority,                         // connect
                                    1, true, kPriority, true, "",            // own
                                    1, true, kPriority, "", "", "", "", 0, 0, std::uint64_t{0},
                                    kAnyNumber, 1, true, kPriority, "", "", "", "", 0, 0,
                                    std::uint64_t{0}, kAnyNumber, 0, 0, false, "session"),
              "policy");
  RequireDBus(sd_bus_message_close_container(message), "policy");
}

void AddListener(sd_bus* controller, int socket_fd) {
  sd_bus_message* call = nullptr;
  RequireDBus(sd_bus_message_new_method_call(controller, &call, nullptr, "/org/bus1/DBus/Broker",
                                             "org.bus1.DBus.Broker", "AddListener"),
              "listener");
  RequireDBus(sd_bus_message_append(call, "oh", "/org/bus1/DBus/Listener/0", socket_fd),
              "listener");
  AppendPolicy(call);
  sd_bus_error error = SD_BUS_ERROR_NULL;
  const int result = sd_bus_call(controller, call, 0, &error, nullptr);
  const std::string cause = error.message != nullptr ? error.message : "";
  sd_bus_error_free(&error);
  sd_bus_message_unref(call);
  if (result < 0) {
    throw std::runtime_error("dbus-broker rejects its socket: " + std::string(strerror(-result)) +
                             " " + cause);
  }
}

}  // namespace

DBusBroker::DBusBroker(const std::string& folder) : address_("unix:path=" + folder + "/bus") {
  int ends[2];
  RequireDBus(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), "socketpair");
  process_ = std::make_unique<ChildProcess>([&ends] {
    // The duplicate lacks close-on-exec.
    const std::string descriptor = std::to_string(dup(ends[1]));
    execlp("dbus-broker", "dbus-broker", "--controller", descriptor.c_str(), "--machine-id",
           kMachineId, nullptr);
    throw std::system_error(errno, std::generic_category(), "dbus-broker");
  });
  close(ends[1]);
  RequireDBus(sd_bus_new(&controller_), "sd_bus_new");
  RequireDBus(sd_bus_set_fd(controller_, ends[0], ends[0]), "sd_bus_set_fd");
  RequireDBus(sd_bus_start(controller_), "cannot start dbus-broker: sd_bus_start");
  const int socket_fd = Listen(folder + "/bus");
  AddListener(controller_, socket_fd);
  close(socket_fd);
}

DBusBroker::~DBusBroker() { sd_bus_unref(controller_); }

}  // namespace bench
