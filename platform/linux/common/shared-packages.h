// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_SHARED_PACKAGES_H_
#define PLATFORM_LINUX_COMMON_SHARED_PACKAGES_H_

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/linux/common/package-database.h"

namespace platform {

// The package records that somebody holds, so that whoever asks for one gets the same. Safe from
// any thread; outlives the records.
class SharedPackages {
 public:
  // Nothing when nobody holds one.
  std::shared_ptr<const PackageRecord> Find(const std::string& package_id);
  // Takes the place of an earlier record of the package.
  std::shared_ptr<const PackageRecord> Share(PackageRecord package);
  // Those that hold records keep them; nobody else gets them any more.
  void Forget();

 private:
  using Records = std::map<std::string_view, std::weak_ptr<const PackageRecord>>;

  void Release(const PackageRecord* package);

  std::mutex mutex_;
  // The keys are the records' own.
  Records records_;
};

}  // namespace platform

#endif
