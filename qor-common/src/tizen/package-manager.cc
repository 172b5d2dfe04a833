// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/package-manager.h"

#include <app_info.h>

#include <cstring>
#include <set>

#include "tizen/c-string.h"
#include "tizen/callback-guard.h"
#include "tizen/collector.h"

namespace tizen {

namespace {

struct FilterDestroyer {
  void operator()(app_info_metadata_filter_h handle) const {
    app_info_metadata_filter_destroy(handle);
  }
};

// Returns the package id of each application with a metadata key; one entry per application.
std::vector<std::string> PackagesOfAppsWithMetadata(const std::string& key) {
  app_info_metadata_filter_h handle = nullptr;
  ThrowOnError(app_info_metadata_filter_create(&handle), "app_info_metadata_filter_create");
  const std::unique_ptr<app_info_metadata_filter_s, FilterDestroyer> filter(handle);
  ThrowOnError(app_info_metadata_filter_add(filter.get(), key.c_str(), nullptr),
               "app_info_metadata_filter_add");

  struct State {
    Collector<std::string> packages;
    int error = TIZEN_ERROR_NONE;
  } state;
  ThrowOnError(app_info_metadata_filter_foreach(
                   filter.get(),
                   [](app_info_h app, void* data) {
                     auto* result = static_cast<State*>(data);
                     char* package = nullptr;
                     result->error = app_info_get_package(app, &package);
                     if (result->error != TIZEN_ERROR_NONE) return false;
                     const CString owned(package);
                     return result->packages.Add(package);
                   },
                   &state),
               "app_info_metadata_filter_foreach");
  ThrowOnError(state.error, "app_info_get_package");
  return state.packages.Take();
}

// Returns whether an event is of a type that callbacks expect. Newer platforms have more types, and
// reading a value outside the range of the enumeration is undefined behaviour.
bool IsExpected(const package_manager_event_type_e& type) {
  int number = 0;
  static_assert(sizeof(number) == sizeof(type));
  std::memcpy(&number, &type, sizeof(number));
  return number == PACKAGE_MANAGER_EVENT_TYPE_INSTALL ||
         number == PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL ||
         number == PACKAGE_MANAGER_EVENT_TYPE_UPDATE;
}

}  // namespace

PackageManager::PackageManager(const char* log_tag) : log_tag_(log_tag) {
  package_manager_h handle = nullptr;
  ThrowOnError(package_manager_create(&handle), "package_manager_create");
  handle_.reset(handle);
}

std::vector<PackageInfo> PackageManager::Handlers(const std::string& key) const {
  const auto packages = PackagesOfAppsWithMetadata(key);
  std::vector<PackageInfo> handlers;
  for (const auto& package : std::set<std::string>(packages.begin(), packages.end())) {
    handlers.emplace_back(package);
  }
  return handlers;
}

void PackageManager::SetPackageManagerEventCallback(EventCallback callback) {
  callback_ = std::make_shared<const EventCallback>(std::move(callback));
  // A device delivers no events to a handle without a status.
  ThrowOnError(
      package_manager_set_event_status(handle_.get(), PACKAGE_MANAGER_STATUS_TYPE_INSTALL |
                                                          PACKAGE_MANAGER_STATUS_TYPE_UPGRADE |
                                                          PACKAGE_MANAGER_STATUS_TYPE_UNINSTALL),
      "package_manager_set_event_status");
  ThrowOnError(package_manager_set_event_cb(handle_.get(), OnEvent, this),
               "package_manager_set_event_cb");
}

void PackageManager::OnEvent(const char* type, const char* package,
                             package_manager_event_type_e event,
                             package_manager_event_state_e state, int progress,
                             package_manager_error_e error, void* data) {
  if (!IsExpected(event)) return;
  const auto* self = static_cast<PackageManager*>(data);
  // The callback may destroy this object, and itself with it.
  const auto callback = self->callback_;
  GuardCallback(self->log_tag_, __FILE__, __FUNCTION__, __LINE__, 0, [&] {
    (*callback)(type, package, event, state, progress, error);
    return 0;
  });
}

}  // namespace tizen
