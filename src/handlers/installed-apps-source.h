// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_INSTALLED_APPS_SOURCE_H_
#define QOR_SRC_HANDLERS_INSTALLED_APPS_SOURCE_H_

#include <functional>
#include <memory>
#include <vector>

#include "common/platform-names.h"
#include "handlers/app-handler.h"
#include "handlers/source.h"
#include "tizen/package-manager.h"

namespace handlers {

// The handlers among the installed applications. Reports installs, updates and uninstalls, on the
// main loop's thread. Errors are logged and never thrown.
class InstalledAppsSource : public Source,
                            public std::enable_shared_from_this<InstalledAppsSource> {
 public:
  // Throws tizen::Exception if the platform's package manager is not available.
  InstalledAppsSource();

  // Returns an empty list if any package or application cannot be read.
  std::vector<std::shared_ptr<BaseHandler>> Load() override;

  // Calls `fn` with the record of each application of a package, in the package's order. Stops at
  // the first error.
  void ForeachHandlerInPackage(const char* package_id,
                               std::function<void(std::shared_ptr<AppHandler>)> fn);

 private:
  template <typename Event>
  void NotifyOfPackage(const char* package);

  tizen::PackageManager package_manager_{common::kLogTag};
};

}  // namespace handlers

#endif
