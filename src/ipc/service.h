// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_SERVICE_H_
#define QOR_SRC_IPC_SERVICE_H_

#include <memory>
#include <string>
#include <utility>

#include "ipc/request-taker.h"
#include "ipc/stub.h"

namespace ipc {

// The service object of a connection: adds the sender to every call and forwards it to the request
// taker, which it keeps alive until the connection ends.
class Service : public rpc_port::stub::stub::CommandHandler::ServiceBase {
 public:
  Service(std::string sender, std::string instance, std::shared_ptr<RequestTaker> taker)
      : ServiceBase(std::move(sender), std::move(instance)), taker_(std::move(taker)) {}

  void OnCreate() override { taker_->OnConnected(GetSender()); }
  void OnTerminate() override { taker_->OnDisconnected(GetSender()); }
  void SetCommandReceivedCb(OnCommandReceivedUniqePtr cb) override {
    taker_->SetCommandReceivedCb(GetSender(), std::move(cb));
  }
  bool SendResult(rpc_port::stub::Result result) override {
    return taker_->SendResult(GetSender(), std::move(result));
  }
  bool NegotiateTimeout(std::string uuid, double timeout) override {
    return taker_->NegotiateTimeout(GetSender(), uuid, timeout);
  }

 private:
  std::shared_ptr<RequestTaker> taker_;
};

}  // namespace ipc

#endif
