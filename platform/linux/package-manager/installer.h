// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_INSTALLER_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_INSTALLER_H_

#include <functional>
#include <string>

#include "platform/linux/package-manager/event-sender.h"
#include "platform/linux/package-manager/package-event.h"

namespace platform {

// Runs one install, update or uninstall request. Both functions return when the request is
// complete. On failure they throw an exception that CurrentErrorCode() maps, and leave the previous
// state. Events are sent from the time that the package is known to be valid; the last one is
// completed or failed.
class Installer {
 public:
  using Report = std::function<void(const PackageEvent&)>;

  // `report` is called with each event before the listeners are.
  explicit Installer(Report report);

  // From a folder or a .tpk archive; an installed package of the same id is updated.
  void Install(const std::string& path);
  void Uninstall(const std::string& package_id);

 private:
  void Send(package_manager_event_state_e state, int progress);
  // Runs the steps between the started and the completed event.
  void RunWithEvents(const std::function<void()>& steps);

  const Report report_;
  EventSender sender_;
  PackageEvent event_;
};

}  // namespace platform

#endif
