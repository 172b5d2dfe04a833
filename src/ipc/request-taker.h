// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_REQUEST_TAKER_H_
#define QOR_SRC_IPC_REQUEST_TAKER_H_

#include <memory>
#include <string>

#include "common/platform-names.h"
#include "ipc/stub.h"

namespace ipc {

using OnCommandReceivedUniqePtr =
    std::unique_ptr<rpc_port::stub::stub::CommandHandler::OnCommandReceived>;

// Receives the requests of handler applications, each with the application id of its sender. Called
// on the main loop's thread.
class RequestTaker {
 public:
  virtual ~RequestTaker() = default;

  // The handler fetches its commands: pending ones and later ones are sent through `cb`.
  virtual void SetCommandReceivedCb(const HandlerId& sender, OnCommandReceivedUniqePtr cb) = 0;
  // The handler reports the result of a command. The return value is sent back.
  virtual bool SendResult(const HandlerId& sender, rpc_port::stub::Result result) = 0;
  virtual void OnConnected(const HandlerId& sender) = 0;
  virtual void OnDisconnected(const HandlerId& sender) = 0;
  // The handler requests a new timeout for a command, in seconds from now. The return value is sent
  // back.
  virtual bool NegotiateTimeout(const HandlerId& sender, const std::string& uuid,
                                double timeout) = 0;
};

}  // namespace ipc

#endif
