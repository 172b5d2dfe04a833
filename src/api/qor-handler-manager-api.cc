// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/qor-handler-manager-api.h"

#include <new>
#include <tuple>
#include <utility>

#include "api/logic.h"
#include "common/logging.h"
#include "handlers/installed-apps-source.h"
#include "handlers/manager.h"
#include "handlers/repository-backend-file.h"
#include "handlers/repository.h"
#include "ipc/service-manager.h"
#include "ipc/stub.h"
#include "tizen/resource-path.h"
#include "tizen/thread-utils.h"

namespace api {

using rpc_port::stub::stub::CommandHandler;

std::shared_ptr<Logic> QorHandlerManagerApi::instance;
std::shared_ptr<handlers::Manager> QorHandlerManagerApi::manager;
std::shared_ptr<ipc::ServiceManager> QorHandlerManagerApi::serviceManager;
std::shared_ptr<CommandHandler> QorHandlerManagerApi::stub;
// Last, so that it is destroyed first.
const QorHandlerManagerApi::ExitGuard QorHandlerManagerApi::exit_guard{};

ApiInterfacePtr QorHandlerManagerApi::Instance() {
  if (instance) return instance;

  instance = std::make_shared<Logic>();
  QOR_DEBUG_AT(54, "Create handlers::FileRepositoryBackend");
  auto backend = std::make_unique<handlers::FileRepositoryBackend>(
      tizen::GetResourcePath(tizen::Directory::kData, ".qor-handlers.db"));
  QOR_DEBUG_AT(59, "Create handlers::Repository");
  auto repository = std::make_shared<handlers::Repository>(std::move(backend));
  QOR_DEBUG_AT(62, "Create handlers::Manager");
  manager = std::make_shared<handlers::Manager>(std::move(repository));
  auto source = std::make_shared<handlers::InstalledAppsSource>();
  manager->AddSource(source);
  manager->Reload();
  instance->Bind(manager);
  // Attached after the manager: a change has taken effect when the client is notified.
  source->AttachToAll(instance);
  QOR_DEBUG_AT(74, "Create ipc::ServiceManager");
  serviceManager = std::make_shared<ipc::ServiceManager>();
  serviceManager->SetRequestTaker(instance);
  QOR_DEBUG_AT(78, "Create rpc_port::stub::stub::CommandHandler");
  stub = std::make_shared<CommandHandler>();
  QOR_DEBUG_AT(80, "rpc_port::stub::stub::CommandHandler Listen start");
  stub->Listen(serviceManager);
  return instance;
}

void QorHandlerManagerApi::ShutDown() {
  if (!instance) return;
  // Null after a failed start.
  if (serviceManager) serviceManager->SetRequestTaker(nullptr);
  instance->UnbindAll();
  instance->ShutDown();
  instance.reset();
  stub.reset();
}

QorHandlerManagerApi::ExitGuard::~ExitGuard() {
  if (!manager) return;
  if (tizen::ThreadUtils::IsMainThread()) {
    ShutDown();
    return;
  }
  // Destroying the objects would wait for the main loop, whose thread may have exited. They are
  // kept reachable, so that leak checkers do not report them, in static storage, so that it cannot
  // fail.
  using Objects = decltype(std::make_tuple(instance, manager, serviceManager, stub));
  alignas(Objects) static unsigned char kept[sizeof(Objects)];
  new (kept) Objects(instance, manager, serviceManager, stub);
}

}  // namespace api
