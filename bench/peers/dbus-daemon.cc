// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

#include "peers/dbus-bus.h"

namespace bench {

namespace {

std::string Config(const std::string& address) {
  return "<busconfig><type>session</type><listen>" + address +
         "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
         "<allow own=\"*\"/><allow eavesdrop=\"false\"/></policy></busconfig>";
}

}  // namespace

DBusDaemon::DBusDaemon(const std::string& folder) : address_("unix:path=" + folder + "/bus") {
  const std::string config = folder + "/bus.conf";
  std::ofstream(config) << Config(address_);
  int ready[2];
  RequireDBus(pipe2(ready, 0), "pipe2");
  process_ = std::make_unique<ChildProcess>([&] {
    const std::string config_option = "--config-file=" + config;
    const std::string print_option = "--print-address=" + std::to_string(ready[1]);
    close(ready[0]);
    // Hide warnings about limits that it may not raise and that do not matter here.
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", config_option.c_str(), print_option.c_str(),
           nullptr);
  });
  close(ready[1]);
  char byte;
  const bool started = read(ready[0], &byte, 1) == 1;
  close(ready[0]);
  if (!started) throw std::runtime_error("cannot start dbus-daemon");
}

}  // namespace bench
