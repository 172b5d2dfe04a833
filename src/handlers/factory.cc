// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/factory.h"

#include <typeinfo>
#include <utility>

#include "common/exceptions.h"

namespace handlers {

namespace {

constexpr char kAppHandlerType[] = "AppHandler";

}  // namespace

Factory& Factory::Instance() {
  static Factory factory;
  return factory;
}

std::string Factory::Type(const BaseHandler& handler) {
  if (typeid(handler) == typeid(AppHandler)) return kAppHandlerType;
  throw InvalidOperation(__FILE__, __LINE__, "Unsupported handler type");
}

std::shared_ptr<BaseHandler> Factory::CreateHandler(std::string_view type,
                                                    const json::Value& json) {
  if (type == kAppHandlerType) return std::make_shared<AppHandler>(json, service_manager_);
  throw InvalidOperation(__FILE__, __LINE__, "Unsupported handler type");
}

std::shared_ptr<AppHandler> Factory::CreateAppHandler(std::string app_id, PackageConfigs* configs) {
  return std::make_shared<AppHandler>(std::move(app_id), service_manager_, configs);
}

}  // namespace handlers
