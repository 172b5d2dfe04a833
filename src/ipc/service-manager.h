// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_SERVICE_MANAGER_H_
#define QOR_SRC_IPC_SERVICE_MANAGER_H_

#include <memory>
#include <string>

#include "ipc/request-taker.h"
#include "ipc/stub.h"

namespace ipc {

// Creates the service objects of connections, which forward every call to the request taker.
class ServiceManager : public rpc_port::stub::stub::CommandHandler::ServiceBase::Factory {
 public:
  // Sets the taker of new connections. Established connections keep theirs.
  void SetRequestTaker(std::shared_ptr<RequestTaker> taker) { taker_ = std::move(taker); }

  std::unique_ptr<rpc_port::stub::stub::CommandHandler::ServiceBase> CreateService(
      std::string sender, std::string instance) override;

 private:
  std::shared_ptr<RequestTaker> taker_;
};

}  // namespace ipc

#endif
