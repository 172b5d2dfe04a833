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
  // A frame is at the front of the main port. Anything but 0 ends the connection.
  virtual int OnFrame(const Client& client) = 0;
  // The connection ended by itself: never called for one that was dropped.
  virtual void OnClientDisconnected(const std::shared_ptr<Client>& client) = 0;

 protected:
  ~ClientHost() = default;
};

// One proxy as its stub sees it: a main port that was admitted and, from when it has joined, the
// callback port.
class Client final : public PortObserver, public std::enable_shared_from_this<Client> {
 public:
  // `executable` is what the process executed when it was identified as the sender.
  Client(const std::string& sender, ProcessHandle process, const FileId& executable,
         std::shared_ptr<Port> main, const std::weak_ptr<ClientHost>& host);

  // Tells the proxy that it is admitted; it has a limited time to join.
  void Start();
  // Whether a second connection of that process is this one's callback port. It is not when the
  // process executes another file by now: it may have had the first connection before it became
  // the application, and have left that to another process.
  bool ExpectsCallback(const Token& token, pid_t pid) const;
  void Join(std::shared_ptr<Port> callback);
  bool IsJoined() const { return callback_ != nullptr; }

  const std::string& sender() const { return sender_; }
  // Unlike that of any other connection of this process's stubs.
  const std::string& instance() const { return instance_; }
  const Port& main() const { return *main_; }
  // Null before it has joined.
  const Port* callback() const { return callback_.get(); }

  // Ends the connection without a word to the host.
  void Drop();

 private:
  void OnReadable(Port* port) override;
  void Serve(Port* port);
  // Whether the process executes what it was identified by, or did when it exited: what it has sent
  // before is its own. Looks no more than once a second.
  bool HasSameExecutable();
  // False when the connection is over.
  bool HandleFrame(ClientHost* host);
  void End();
  void SendAccept(Port* port);

  const std::string sender_;
  const std::string instance_;
  // Until it has joined.
  std::optional<ProcessHandle> process_;
  const FileId executable_;
  const std::string executable_link_;
  std::chrono::steady_clock::time_point next_check_;
  const Token token_;
  const std::weak_ptr<ClientHost> host_;
  const std::shared_ptr<Port> main_;
  std::shared_ptr<Port> callback_;
  LoopTimer timeout_;
  bool is_ended_ = false;
};

}  // namespace platform::rpc

#endif
