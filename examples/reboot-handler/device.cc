// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "device.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace example {

namespace {

std::ifstream Open(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  return file;
}

// Returns the value in a line "KEY=value" or "KEY="value"".
std::string ValueOf(const std::string& path, const std::string& key) {
  std::ifstream file = Open(path);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind(key + "=", 0) != 0) continue;
    const std::string value = line.substr(key.size() + 1);
    const bool is_quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    return is_quoted ? value.substr(1, value.size() - 2) : value;
  }
  throw std::runtime_error(path + ": " + key + " missing");
}

}  // namespace

Device::Device(const std::string& configuration)
    : boot_id_file_(ValueOf(configuration, "BOOT_ID")),
      os_release_file_(ValueOf(configuration, "OS_RELEASE")),
      program_(ValueOf(configuration, "REBOOT")) {}

std::string Device::BootId() const {
  std::ifstream file = Open(boot_id_file_);
  std::string id;
  if (!std::getline(file, id) || id.empty()) throw std::runtime_error(boot_id_file_ + ": empty");
  return id;
}

std::string Device::Version() const { return ValueOf(os_release_file_, "VERSION_ID"); }

bool Device::Reboot() const {
  std::string program = program_;
  char* arguments[] = {program.data(), nullptr};
  pid_t process = -1;
  int status = -1;
  return posix_spawn(&process, program.c_str(), nullptr, nullptr, arguments, environ) == 0 &&
         waitpid(process, &status, 0) == process && status == 0;
}

}  // namespace example
