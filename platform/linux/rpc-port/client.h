// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_CLIENT_H_
#define PLATFORM_LINUX_RPC_PORT_CLIENT_H_

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/process-handle.h"
#include "platform/linux/rpc-port/handshake.h"
#include "platform/linux/rpc-port/port.h"

namespace platform::rpc {

class Client;

class ClientHost {
 public:
  // A frame is at the front of the main port. A result other than 0 closes the connection.
  virtual int OnFrame(const Client& client) = 0;
  // The connection was closed, by the peer or after an error. Not called after Drop().
  virtual void OnClientDisconnected(const std::shared_ptr<Client>& client) = 0;

 protected:
  ~ClientHost() = default;
};

// A connected proxy, on the stub's side: an admitted main port and, once the proxy has joined, the
// callback port.
class Client final : public PortObserver, public std::enable_shared_from_this<Client> {
 public:
  // `executable` is the file that the process executed when it was identified as the sender.
  Client(const std::string& sender, ProcessHandle process, const FileId& executable,
         std::shared_ptr<Port> main, const std::weak_ptr<ClientHost>& host);

  // Accepts the main connection. The proxy must join within kHandshakeTimeout.
  void Start();
  // Whether a connection of that process, with the token, is the callback port of this client.
  // False after the process has executed another file: the process could have opened the main
  // connection, passed it to another process, and then executed the application.
  bool ExpectsCallback(const Token& token, pid_t pid) const;
  void Join(std::shared_ptr<Port> callback);
  bool IsJoined() const { return callback_ != nullptr; }

  const std::string& sender() const { return sender_; }
  // Unique among the clients of all stubs of this process.
  const std::string& instance() const { return instance_; }
  const Port& main() const { return *main_; }
  // Null until the proxy has joined.
  const Port* callback() const { return callback_.get(); }

  // Closes the connection without notifying the host.
  void Drop();

 private:
  void OnReadable(Port* port) override;
  void Serve(Port* port);
  // Whether the process still executes the file that identified it. Also true after it has exited,
  // because it sent the remaining bytes itself. Checks at most once a second.
  bool HasSameExecutable();
  // False when the connection must be closed.
  bool HandleFrame(ClientHost* host);
  // Closes the connection and notifies the host.
  void Disconnect();
  void SendAccept(Port* port);

  const std::string sender_;
  const std::string instance_;
  // Until the proxy has joined.
  std::optional<ProcessHandle> process_;
  const FileId executable_;
  const std::string executable_link_;
  std::chrono::steady_clock::time_point next_check_;
  const Token token_;
  const std::weak_ptr<ClientHost> host_;
  const std::shared_ptr<Port> main_;
  std::shared_ptr<Port> callback_;
  LoopTimer timeout_;
  bool is_closed_ = false;
};

}  // namespace platform::rpc

#endif
