// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_FACTORY_H_
#define QOR_SRC_HANDLERS_FACTORY_H_

#include <memory>
#include <string>
#include <string_view>

#include "handlers/app-handler.h"
#include "handlers/base-handler.h"

namespace handlers {

class PackageConfigs;

// Creates handler records, from the database file or from application ids.
class Factory {
 public:
  // The process's only factory, created on first use. Thread-safe.
  static Factory& Instance();

  // Returns the type name of a record in the database file. Throws InvalidOperation for a record of
  // an unknown class.
  std::string Type(const BaseHandler& handler);
  // Creates a record from its stored form. Throws InvalidOperation for an unknown type name.
  std::shared_ptr<BaseHandler> CreateHandler(std::string_view type, const json::Value& json);
  // Creates a record from the application's manifest, as AppHandler's constructor does.
  std::shared_ptr<AppHandler> CreateAppHandler(std::string app_id,
                                               PackageConfigs* configs = nullptr);

 private:
  Factory() = default;

  // Passed to every record; always empty.
  std::weak_ptr<ipc::ServiceManager> service_manager_;
};

}  // namespace handlers

#endif
