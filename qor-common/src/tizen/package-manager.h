// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_PACKAGE_MANAGER_H_
#define TIZEN_PACKAGE_MANAGER_H_

#include <package_manager.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tizen/package-info.h"

namespace tizen {

// The installed packages and their events. Every function throws tizen::Exception if the platform
// call fails.
class PackageManager {
 public:
  // Arguments: package type ("tpk" for native packages; may be null), package id, event, state,
  // progress in percent, error (valid in the failed state). Called on the main loop's thread, for
  // installs, updates and uninstalls.
  using EventCallback =
      std::function<void(const char*, const char*, package_manager_event_type_e,
                         package_manager_event_state_e, int, package_manager_error_e)>;

  // Exceptions of the callback are logged under `log_tag`, which must outlive this object.
  explicit PackageManager(const char* log_tag);
  PackageManager(const PackageManager&) = delete;
  PackageManager& operator=(const PackageManager&) = delete;

  // Returns the packages of the handlers, which are the applications with the metadata key `key`.
  // Each package once, ordered by package id.
  std::vector<PackageInfo> Handlers(const std::string& key) const;

  // Replaces the callback. It may destroy this object.
  void SetPackageManagerEventCallback(EventCallback callback);

 private:
  struct Destroyer {
    void operator()(package_manager_h handle) const { package_manager_destroy(handle); }
  };

  static void OnEvent(const char* type, const char* package, package_manager_event_type_e event,
                      package_manager_event_state_e state, int progress,
                      package_manager_error_e error, void* data);

  const char* log_tag_;
  // Shared, because the callback may destroy this object while it runs.
  std::shared_ptr<const EventCallback> callback_;
  std::unique_ptr<package_manager_s, Destroyer> handle_;
};

}  // namespace tizen

#endif
