// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_PACKAGE_MANAGER_H_
#define TIZEN_PACKAGE_MANAGER_H_

#include <package_manager.h>

#include <functional>
#include <memory>
#include <vector>

#include "tizen/package-info.h"

namespace tizen {

// The installed packages and what happens to them. Every function throws tizen::Exception when the
// platform fails.
class PackageManager {
 public:
  // Package type ("tpk" for a native one; may be null), package id, event, state, progress in
  // percent, error (meaningful in the failed state). Called on the main loop, for installs, updates
  // and uninstalls.
  using EventCallback =
      std::function<void(const char*, const char*, package_manager_event_type_e,
                         package_manager_event_state_e, int, package_manager_error_e)>;

  PackageManager();
  PackageManager(const PackageManager&) = delete;
  PackageManager& operator=(const PackageManager&) = delete;

  // The packages with an application that declares itself a command handler, each once, ordered by
  // package id.
  std::vector<PackageInfo> Handlers() const;

  // Replaces the callback. It may destroy this object.
  void SetPackageManagerEventCallback(EventCallback callback);

 private:
  struct Destroyer {
    void operator()(package_manager_h handle) const { package_manager_destroy(handle); }
  };

  static void OnEvent(const char* type, const char* package, package_manager_event_type_e event,
                      package_manager_event_state_e state, int progress,
                      package_manager_error_e error, void* data);

  std::shared_ptr<const EventCallback> callback_;
  std::unique_ptr<package_manager_s, Destroyer> handle_;
};

}  // namespace tizen

#endif
