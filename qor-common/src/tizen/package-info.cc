// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/package-info.h"

#include <package_manager.h>

#include "tizen/c-string.h"
#include "tizen/collector.h"

namespace tizen {

PackageInfo::PackageInfo(const std::string& package_id) {
  package_info_h handle = nullptr;
  ThrowOnError(package_manager_get_package_info(package_id.c_str(), &handle),
               "package_manager_get_package_info");
  handle_.reset(handle);
}

std::vector<std::string> PackageInfo::Apps() const {
  Collector<std::string> apps;
  ThrowOnError(package_info_foreach_app_from_package(
                   handle_.get(), PACKAGE_INFO_ALLAPP,
                   [](package_info_app_component_type_e, const char* app_id, void* data) {
                     return static_cast<Collector<std::string>*>(data)->Add(app_id);
                   },
                   &apps),
               "package_info_foreach_app_from_package");
  return apps.Take();
}

std::string PackageInfo::RootPath() const {
  return GetString(package_info_get_root_path, handle_.get(), "package_info_get_root_path");
}

bool PackageInfo::IsPreloaded() const {
  bool preloaded = false;
  ThrowOnError(package_info_is_preload_package(handle_.get(), &preloaded),
               "package_info_is_preload_package");
  return preloaded;
}

}  // namespace tizen
