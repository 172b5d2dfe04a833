// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_PACKAGE_INFO_H_
#define TIZEN_PACKAGE_INFO_H_

#include <package_info.h>

#include <memory>
#include <string>
#include <vector>

namespace tizen {

// The platform's information about an installed package. Every function throws tizen::Exception if
// the platform call fails.
class PackageInfo {
 public:
  explicit PackageInfo(const std::string& package_id);

  // Returns the application ids, in the package's order.
  std::vector<std::string> Apps() const;
  // Returns the absolute path of the package's folder.
  std::string RootPath() const;
  // Returns whether the package is part of the device image.
  bool IsPreloaded() const;

 private:
  struct Destroyer {
    void operator()(package_info_h handle) const { package_info_destroy(handle); }
  };

  std::unique_ptr<package_info_s, Destroyer> handle_;
};

}  // namespace tizen

#endif
