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

// Makes handler records, by the type names of the database file or from application ids.
class Factory {
 public:
  // One for the process, made on first use; safe from any thread.
  static Factory& Instance();

  // Type name of a record. Throws InvalidOperation for a kind of record that has none.
  std::string Type(const BaseHandler& handler);
  // A record from its stored form. Throws InvalidOperation for an unknown type name.
  std::shared_ptr<BaseHandler> CreateHandler(std::string_view type, const json::Value& json);
  // A record from the application's manifest. Throws tizen::Exception when the platform does not
  // know the application. `configs` are those of the application's package; none stand for those of
  // this application alone.
  std::shared_ptr<AppHandler> CreateAppHandler(std::string app_id,
                                               PackageConfigs* configs = nullptr);

 private:
  Factory() = default;

  // Given to every record; stays empty.
  std::weak_ptr<ipc::ServiceManager> service_manager_;
};

}  // namespace handlers

#endif
