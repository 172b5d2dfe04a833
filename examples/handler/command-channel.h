// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_EXAMPLES_HANDLER_COMMAND_CHANNEL_H_
#define QOR_EXAMPLES_HANDLER_COMMAND_CHANNEL_H_

#include <rpc-port-parcel.h>
#include <rpc-port.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace example {

struct Command {
  std::string uuid;
  std::string request_type;
  std::string payload;
  std::int64_t timestamp = 0;
};

// A handler application's connection to one agent, over the port "CommandHandler": asks for
// commands as soon as it stands, hands them out, takes results. Everything runs on the main loop's
// thread.
class CommandChannel : public std::enable_shared_from_this<CommandChannel> {
 public:
  using OnCommand = std::function<void(CommandChannel&, const Command&)>;

  // Connects to the agent with this application id. `on_closed` is called once when the connection
  // is refused or ends, not when connecting fails at once; it may destroy this object.
  CommandChannel(const std::string& agent_id, OnCommand on_command,
                 std::function<void()> on_closed);
  CommandChannel(const CommandChannel&) = delete;
  CommandChannel& operator=(const CommandChannel&) = delete;
  ~CommandChannel();

  // False once the connection was refused or has ended, or when connecting failed at once.
  bool IsOpen() const { return open_; }

  // Each returns what the agent answered, false when it could not be asked. They wait for that
  // answer.
  bool Succeed(const std::string& uuid, const std::string& result_json);
  bool Fail(const std::string& uuid, const std::string& error_json);
  bool AskForSeconds(const std::string& uuid, double seconds);

 private:
  void Close();
  void AskForCommands(rpc_port_h main_port);
  void Receive();
  bool SendResult(const std::string& uuid, const std::string& result, int status,
                  const std::string& error);
  bool Call(rpc_port_parcel_h request);

  rpc_port_proxy_h proxy_ = nullptr;
  OnCommand on_command_;
  std::function<void()> on_closed_;
  bool open_ = false;
};

}  // namespace example

#endif
