// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_OWNED_SOCKET_H_
#define PLATFORM_LINUX_RPC_PORT_OWNED_SOCKET_H_

#include <string>

#include "platform/linux/common/unix-socket.h"

namespace platform::rpc {

// A port's listening socket and the right to it. A lock on a file beside the socket says who owns
// the port; the kernel drops it with the process, so that a socket without one is stale.
class OwnedSocket {
 public:
  // Replaces a stale socket. Throws std::system_error that names the port, the owner and, where it
  // is a matter of the file system, the folder.
  OwnedSocket(const std::string& owner, const std::string& port_name);
  OwnedSocket(const OwnedSocket&) = delete;
  OwnedSocket& operator=(const OwnedSocket&) = delete;
  // Removes the socket. The lock file stays: removing it would let two others own the port.
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
