// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_OWNED_SOCKET_H_
#define PLATFORM_LINUX_RPC_PORT_OWNED_SOCKET_H_

#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform::rpc {

// Port names and application ids become names of files. Null is neither; a dot at the beginning is
// reserved for the platform's own files.

// At most 80 bytes: what a socket address holds beside the descriptor of its folder.
bool IsPortName(const char* name);
// At most 255 bytes, the limit of file names.
bool IsAppId(const char* app_id);

// The listening socket of a port and its ownership. The owner holds a lock on a file beside the
// socket. The kernel releases the lock when the process exits, so a socket without a lock is stale.
class OwnedSocket {
 public:
  // Replaces a stale socket. Throws std::system_error, which names the port and its owner, or the
  // file.
  OwnedSocket(const std::string& owner, const std::string& port_name);
  OwnedSocket(const OwnedSocket&) = delete;
  OwnedSocket& operator=(const OwnedSocket&) = delete;
  // Removes the socket but not the lock file: a process could hold the lock on the removed file
  // while another locks a new one.
  ~OwnedSocket();

  int fd() const { return socket_.Get(); }

 private:
  const std::string folder_;
  const std::string port_name_;
  UniqueFd lock_;
  UniqueFd socket_;
};

}  // namespace platform::rpc

#endif
