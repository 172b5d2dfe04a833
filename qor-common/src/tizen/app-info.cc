// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/app-info.h"

#include <app_manager.h>

#include "tizen/c-string.h"
#include "tizen/collector.h"

namespace tizen {

AppInfo::AppInfo(const std::string& app_id) {
  app_info_h handle = nullptr;
  ThrowOnError(app_manager_get_app_info(app_id.c_str(), &handle), "app_manager_get_app_info");
  handle_.reset(handle);
}

PackageInfo AppInfo::Package() const {
  return PackageInfo(GetString(app_info_get_package, handle_.get(), "app_info_get_package"));
}

std::vector<AppInfo::MetadataEntry> AppInfo::Metadata() const {
  Collector<MetadataEntry> metadata;
  ThrowOnError(app_info_foreach_metadata(
                   handle_.get(),
                   [](const char* key, const char* value, void* data) {
                     return static_cast<Collector<MetadataEntry>*>(data)->Add(
                         key, value != nullptr ? value : "");
                   },
                   &metadata),
               "app_info_foreach_metadata");
  return metadata.Take();
}

}  // namespace tizen
