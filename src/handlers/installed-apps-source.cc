// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/installed-apps-source.h"

#include <cstring>
#include <exception>
#include <utility>

#include "common/logging.h"
#include "common/platform-names.h"
#include "handlers/factory.h"
#include "handlers/handler-config.h"

namespace handlers {

namespace {

constexpr char kNativePackage[] = "tpk";

}  // namespace

InstalledAppsSource::InstalledAppsSource() {
  // The body must stay in the lambda: log readers rely on the function name "operator()".
  package_manager_.SetPackageManagerEventCallback(
      [this](const char* type, const char* package, package_manager_event_type_e event,
             package_manager_event_state_e state, int, package_manager_error_e) {
        if (type == nullptr || std::strcmp(type, kNativePackage) != 0) return;
        // An observer may release the last reference to this source.
        const auto self = weak_from_this().lock();

        if (event == PACKAGE_MANAGER_EVENT_TYPE_INSTALL &&
            state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED) {
          QOR_DEBUG("Received package: %s installed event", package);
          NotifyOfPackage<HandlerAdded>(package);
        } else if (event == PACKAGE_MANAGER_EVENT_TYPE_UPDATE &&
                   state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED) {
          QOR_DEBUG("Received package: %s updated event", package);
          NotifyOfPackage<HandlerUpdated>(package);
        } else if (event == PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL &&
                   state == PACKAGE_MANAGER_EVENT_STATE_STARTED) {
          // At the start of the uninstall: the metadata can still be read.
          QOR_DEBUG("Received package: %s uninstalled event", package);
          NotifyOfPackage<HandlerRemoved>(package);
        }
      });
}

std::vector<std::shared_ptr<BaseHandler>> InstalledAppsSource::Load() {
  try {
    std::vector<std::shared_ptr<BaseHandler>> handlers;
    for (const auto& package : package_manager_.Handlers(common::kCommandHandlerKey)) {
      PackageConfigs configs;
      for (const auto& app_id : package.Apps()) {
        auto handler = Factory::Instance().CreateAppHandler(app_id, &configs);
        if (handler->IsValid()) handlers.push_back(std::move(handler));
      }
    }
    return handlers;
  } catch (const std::exception& error) {
    QOR_ERROR("Unable to load handlers: %s", error.what());
  } catch (...) {
    QOR_ERROR("Unable to load handlers");
  }
  return {};
}

void InstalledAppsSource::ForeachHandlerInPackage(
    const char* package_id, std::function<void(std::shared_ptr<AppHandler>)> fn) {
  try {
    PackageConfigs configs;
    for (const auto& app_id : tizen::PackageInfo(package_id).Apps()) {
      fn(Factory::Instance().CreateAppHandler(app_id, &configs));
    }
  } catch (const std::exception& error) {
    QOR_ERROR("Tizen error occurred: %s", error.what());
  } catch (...) {
    QOR_ERROR("Unknown error occurred");
  }
}

template <typename Event>
void InstalledAppsSource::NotifyOfPackage(const char* package) {
  ForeachHandlerInPackage(package, [this](std::shared_ptr<AppHandler> handler) {
    if (handler->IsValid()) common::Subject<const Event&>::Notify(Event{std::move(handler)});
  });
}

}  // namespace handlers
