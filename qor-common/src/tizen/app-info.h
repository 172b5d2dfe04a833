// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_APP_INFO_H_
#define TIZEN_APP_INFO_H_

#include <app_info.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tizen/package-info.h"

namespace tizen {

// The platform's information about an installed application. Every function throws tizen::Exception
// if the platform call fails.
class AppInfo {
 public:
  using MetadataEntry = std::pair<std::string, std::string>;

  explicit AppInfo(const std::string& app_id);

  // Returns the application's package.
  PackageInfo Package() const;
  // Returns keys and values in the order of the manifest; keys may be duplicate.
  std::vector<MetadataEntry> Metadata() const;

 private:
  struct Destroyer {
    void operator()(app_info_h handle) const { app_info_destroy(handle); }
  };

  std::unique_ptr<app_info_s, Destroyer> handle_;
};

}  // namespace tizen

#endif
