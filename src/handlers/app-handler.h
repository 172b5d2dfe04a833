// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_APP_HANDLER_H_
#define QOR_SRC_HANDLERS_APP_HANDLER_H_

#include <memory>
#include <string>

#include "handlers/base-handler.h"

namespace ipc {
class ServiceManager;
}

namespace handlers {

class PackageConfigs;

// An installed application that serves request types.
class AppHandler : public BaseHandler {
 public:
  // Reads request types and priority from the application's manifest. Throws tizen::Exception if
  // the application is not installed. `configs` holds the configuration files of the application's
  // package that are already parsed; may be null.
  AppHandler(std::string app_id, std::weak_ptr<ipc::ServiceManager> service_manager,
             PackageConfigs* configs = nullptr);
  // Reads application id and request types from the stored form; the priority is 0.
  AppHandler(const json::Value& json, std::weak_ptr<ipc::ServiceManager> service_manager);

  const HandlerId& Id() override { return app_id_; }
  void Notify() override;
  void FromJson(const json::Value& json) override;
  void ToJson(json::Value& out, json::PoolAllocator& allocator) const override;
  bool Compare(std::shared_ptr<BaseHandler> other) override;

  // Adds the request types of the handler configuration file and sets the priority.
  void LoadDataFromManifest(PackageConfigs* configs = nullptr);

 private:
  std::string app_id_;
  std::weak_ptr<ipc::ServiceManager> service_manager_;
};

}  // namespace handlers

#endif
