// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that connects to the agent that launches it and makes typical mistakes. Named
// "no-fetch-handler" it does not fetch its commands, named "exiting-handler" it exits at once.

#include <service_app.h>

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "bare-handler.h"
#include "connection.h"

namespace {

using qor::internal::Connection;
using qor::internal::ReceivedCommand;

class MisbehavingHandler : public Connection::Observer {
 public:
  explicit MisbehavingHandler(std::string name) : name_(std::move(name)) {}

  void Connect(const std::string& agent) {
    if (name_ == "exiting-handler") return service_app_exit();
    if (connection_ != nullptr && !connection_->IsClosed()) return;
    connection_ = std::make_unique<Connection>(agent, *this);
    connection_->Connect();
  }

  void OnOpened() override {
    if (name_ != "no-fetch-handler") connection_->FetchCommands();
  }
  void OnCommand(ReceivedCommand command) override {
    if (command.type == "misbehaving.text") {
      connection_->SendResult(command.uuid, {true, "hello there"});
    } else if (command.type == "misbehaving.utf-8") {
      connection_->SendResult(command.uuid, {true, command.payload + "\x9b"});
    } else if (command.type == "misbehaving.count") {
      connection_->SendResult(command.uuid, {true, std::to_string(++count_)});
    } else if (command.type == "misbehaving.once") {
      if (answered_.insert(command.uuid).second) connection_->SendResult(command.uuid, {true, "1"});
    } else {
      connection_->SendResult(command.uuid, {true, "2"});
      connection_->SendResult(command.uuid, {true, "2"});
    }
  }
  void OnClosed() override {}

 private:
  const std::string name_;
  int count_ = 0;
  std::set<std::string> answered_;
  std::unique_ptr<Connection> connection_;
};

}  // namespace

int main(int argc, char** argv) {
  const std::string file = argv[0];
  MisbehavingHandler handler(file.substr(file.rfind('/') + 1));
  return support::RunBareHandler(argc, argv,
                                 [&](const std::string& agent) { handler.Connect(agent); });
}
