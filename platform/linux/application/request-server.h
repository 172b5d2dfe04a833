// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APPLICATION_REQUEST_SERVER_H_
#define PLATFORM_LINUX_APPLICATION_REQUEST_SERVER_H_

#include <Ecore.h>
#include <app_control.h>

#include <functional>
#include <list>
#include <string>

#include "platform/linux/common/accept-pause.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/unix-socket.h"

namespace platform {

// Takes launch requests from a listening socket on the Ecore main loop, in the order in which the
// senders connected. Senders that are slow or talk nonsense hold nobody else up.
class RequestServer {
 public:
  // The request belongs to the server and dies when the callback returns.
  using Callback = std::function<void(app_control_h)>;

  RequestServer(UniqueFd listening_socket, Callback callback);
  ~RequestServer();
  RequestServer(const RequestServer&) = delete;
  RequestServer& operator=(const RequestServer&) = delete;

 private:
  struct Connection {
    RequestServer* server = nullptr;
    UniqueFd socket;
    std::string caller;
    MessageReader reader;
    Ecore_Fd_Handler* handler = nullptr;
  };

  static Eina_Bool OnConnect(void* server, Ecore_Fd_Handler* handler);
  static Eina_Bool OnReadable(void* connection, Ecore_Fd_Handler* handler);
  void Accept();
  // True when nothing more is to come from the connection.
  bool Serve(Connection* connection);

  const UniqueFd socket_;
  const Callback callback_;
  Ecore_Fd_Handler* handler_ = nullptr;
  AcceptPause pause_;
  std::list<Connection> connections_;
};

}  // namespace platform

#endif
