// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that connects to whoever launches it and makes what mistakes a handler can make. Under
// the name "deaf-handler" it does not ask for its commands, as "brief-handler" it ends instead.

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

class Careless : public Connection::Observer {
 public:
  explicit Careless(std::string name) : name_(std::move(name)) {}

  void Connect(const std::string& agent) {
    if (name_ == "brief-handler") return service_app_exit();
    if (connection_ != nullptr && !connection_->IsClosed()) return;
    connection_ = std::make_unique<Connection>(agent, *this);
    connection_->Connect();
  }

  void OnOpened() override {
    if (name_ != "deaf-handler") connection_->FetchCommands();
  }
  void OnCommand(ReceivedCommand command) override {
    if (command.type == "careless.text") {
      connection_->SendResult(command.uuid, {true, "hello there"});
    } else if (command.type == "careless.count") {
      connection_->SendResult(command.uuid, {true, std::to_string(++count_)});
    } else if (command.type == "careless.once") {
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
  Careless careless(file.substr(file.rfind('/') + 1));
  return support::RunBareHandler(argc, argv,
                                 [&](const std::string& agent) { careless.Connect(agent); });
}
