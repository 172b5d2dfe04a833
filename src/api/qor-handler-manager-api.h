// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_QOR_HANDLER_MANAGER_API_H_
#define QOR_SRC_API_QOR_HANDLER_MANAGER_API_H_

#include <memory>

#include "api/api-interface.h"

namespace handlers {
class Manager;
}

namespace ipc {
class ServiceManager;
}

namespace rpc_port {
namespace stub {
namespace stub {
class CommandHandler;
}
}  // namespace stub
}  // namespace rpc_port

namespace api {

class Logic;

// Owns the library's object graph, one per process. Not thread-safe.
class QorHandlerManagerApi {
 public:
  // Returns the router. Builds the object graph on first use; if that fails, throws and keeps the
  // objects built so far.
  static ApiInterfacePtr Instance();
  // Destroys the object graph, except the registry's manager, which keeps the database file up to
  // date until the next start.
  static void ShutDown();

 private:
  // Shuts the library down when the process exits or the library is unloaded.
  struct ExitGuard {
    ~ExitGuard();
  };

  static std::shared_ptr<Logic> instance;
  static std::shared_ptr<handlers::Manager> manager;
  static std::shared_ptr<ipc::ServiceManager> serviceManager;
  static std::shared_ptr<rpc_port::stub::stub::CommandHandler> stub;
  static const ExitGuard exit_guard;
};

}  // namespace api

#endif
