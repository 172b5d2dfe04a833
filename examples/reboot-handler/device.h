// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_EXAMPLES_REBOOT_HANDLER_DEVICE_H_
#define QOR_EXAMPLES_REBOOT_HANDLER_DEVICE_H_

#include <string>

namespace example {

// The device, as a configuration file describes it.
class Device {
 public:
  // Throws std::runtime_error for an incomplete configuration, as all functions do for a file that
  // cannot be read.
  explicit Device(const std::string& configuration);

  // Returns a text that differs after each boot.
  std::string BootId() const;
  // Returns the version of the running system.
  std::string Version() const;

  // Returns whether a program that reboots is configured.
  bool CanReboot() const { return !program_.empty(); }
  // Requests a reboot, which happens later. Returns whether the program succeeded.
  bool Reboot() const;

 private:
  const std::string boot_id_file_;
  const std::string os_release_file_;
  const std::string program_;
};

}  // namespace example

#endif
