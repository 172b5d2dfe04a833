// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/service-manager.h"

#include <utility>

#include "common/logging.h"
#include "ipc/service.h"

namespace ipc {

std::unique_ptr<rpc_port::stub::stub::CommandHandler::ServiceBase> ServiceManager::CreateService(
    std::string sender, std::string instance) {
  QOR_FRAME();
  return std::make_unique<Service>(std::move(sender), std::move(instance), taker_);
}

}  // namespace ipc
