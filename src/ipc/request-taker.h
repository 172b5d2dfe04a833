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

// Who takes what handler applications ask for. Handlers are named by their application id; all
// calls come on the main loop's thread.
class RequestTaker {
 public:
  virtual ~RequestTaker() = default;

  // The handler asks for its commands; they are to be sent through `cb`.
  virtual void SetCommandReceivedCb(const HandlerId& sender, OnCommandReceivedUniqePtr cb) = 0;
  // The handler answers a command. What is returned is sent back to it.
  virtual bool SendResult(const HandlerId& sender, rpc_port::stub::Result result) = 0;
  virtual void OnConnected(const HandlerId& sender) = 0;
  virtual void OnDisconnected(const HandlerId& sender) = 0;
  // The handler asks for `timeout` seconds for a command. What is returned is sent back to it.
  virtual bool NegotiateTimeout(const HandlerId& sender, const std::string& uuid,
                                double timeout) = 0;
};

}  // namespace ipc

#endif
