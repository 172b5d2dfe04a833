// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that connects to whoever launches it and makes what mistakes a handler can make. Under
// a name that begins with "deaf" it does not even ask for its commands.

#include <app_control.h>
#include <service_app.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "connection.h"

namespace {

using qor::internal::Connection;
using qor::internal::ReceivedCommand;

class Careless : public Connection::Observer {
 public:
  explicit Careless(bool is_deaf) : is_deaf_(is_deaf) {}

  void Connect(const std::string& agent) {
    if (connection_ != nullptr && !connection_->IsOver()) return;
    connection_ = std::make_unique<Connection>(agent, *this);
    connection_->Connect();
  }

  void OnOpened() override {
    if (!is_deaf_) connection_->FetchCommands();
  }
  void OnCommand(ReceivedCommand command) override {
    if (command.type == "careless.text") {
      connection_->SendResult(command.uuid, {true, "hello there"});
    } else if (command.type == "careless.count") {
      connection_->SendResult(command.uuid, {true, std::to_string(++count_)});
    } else {
      connection_->SendResult(command.uuid, {true, "2"});
      connection_->SendResult(command.uuid, {true, "2"});
    }
  }
  void OnClosed() override {}

 private:
  const bool is_deaf_;
  int count_ = 0;
  std::unique_ptr<Connection> connection_;
};

}  // namespace

int main(int argc, char** argv) {
  const std::string file = argv[0];
  Careless careless(file.compare(file.rfind('/') + 1, 4, "deaf") == 0);
  service_app_lifecycle_callback_s callbacks = {};
  callbacks.create = [](void*) { return true; };
  callbacks.app_control = [](app_control_h request, void* data) {
    char* caller = nullptr;
    if (app_control_get_caller(request, &caller) != APP_CONTROL_ERROR_NONE) return;
    const std::unique_ptr<char, decltype(&std::free)> owned(caller, std::free);
    static_cast<Careless*>(data)->Connect(caller);
  };
  return service_app_main(argc, argv, &callbacks, &careless);
}
