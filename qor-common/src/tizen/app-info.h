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

// What the platform knows of one installed application. Every function throws tizen::Exception when
// the platform fails.
class AppInfo {
 public:
  using MetadataEntry = std::pair<std::string, std::string>;

  explicit AppInfo(const std::string& app_id);

  // The package that the application belongs to.
  PackageInfo Package() const;
  // Keys and values in manifest order; a key may stand more than once.
  std::vector<MetadataEntry> Metadata() const;

 private:
  struct Destroyer {
    void operator()(app_info_h handle) const { app_info_destroy(handle); }
  };

  std::unique_ptr<app_info_s, Destroyer> handle_;
};

}  // namespace tizen

#endif
