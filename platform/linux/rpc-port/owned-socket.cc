// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/owned-socket.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>

#include "platform/linux/common/file-lock.h"
#include "platform/linux/common/root-folder.h"

namespace platform::rpc {
namespace {

constexpr size_t kMaxPortName = 80;
constexpr size_t kMaxAppId = 255;

bool IsFileName(const char* name, size_t max_size) {
  if (name == nullptr || name[0] == '\0' || name[0] == '.') return false;
  return strnlen(name, max_size + 1) <= max_size && std::strchr(name, '/') == nullptr;
}

[[noreturn]] void Throw(const std::string& text) {
  throw std::system_error(errno, std::generic_category(), text);
}

UniqueFd Lock(const std::string& folder, const std::string& owner, const std::string& port_name) {
  const std::string file = folder + "/" + PortLockName(port_name);
  UniqueFd lock = LockFile(file);
  if (lock) return lock;
  if (errno != EWOULDBLOCK) Throw("Cannot lock \"" + file + "\"");
  errno = EADDRINUSE;
  Throw("Port \"" + port_name + "\" of " + owner + " is owned by another process or stub");
}

}  // namespace

bool IsPortName(const char* name) { return IsFileName(name, kMaxPortName); }

bool IsAppId(const char* app_id) { return IsFileName(app_id, kMaxAppId); }

OwnedSocket::OwnedSocket(const std::string& owner, const std::string& port_name)
    : folder_(FolderBelowRoot(std::string(kPortsFolder) + "/" + owner)),
      port_name_(port_name),
      lock_(Lock(folder_, owner, port_name)) {
  const std::string file = folder_ + "/" + port_name_;
  if (unlink(file.c_str()) != 0 && errno != ENOENT) Throw("Cannot replace \"" + file + "\"");
  socket_ = ListenAt(folder_, port_name_);
  if (!socket_ || !EnableSenderCredentials(socket_)) Throw("Cannot listen at \"" + file + "\"");
}

OwnedSocket::~OwnedSocket() { unlink((folder_ + "/" + port_name_).c_str()); }

}  // namespace platform::rpc
