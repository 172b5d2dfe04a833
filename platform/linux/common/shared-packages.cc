// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/shared-packages.h"

#include <utility>

namespace platform {

std::shared_ptr<const PackageRecord> SharedPackages::Find(const std::string& package_id) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = records_.find(package_id);
  return found != records_.end() ? found->second.lock() : nullptr;
}

std::shared_ptr<const PackageRecord> SharedPackages::Share(PackageRecord package) {
  const std::shared_ptr<const PackageRecord> shared(
      new PackageRecord(std::move(package)),
      [this](const PackageRecord* record) { Release(record); });
  const std::lock_guard<std::mutex> lock(mutex_);
  records_.erase(shared->id);
  records_.emplace(shared->id, shared);
  return shared;
}

void SharedPackages::Forget() {
  const std::lock_guard<std::mutex> lock(mutex_);
  records_.clear();
}

void SharedPackages::Release(const PackageRecord* package) {
  const std::unique_ptr<const PackageRecord> owned(package);
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = records_.find(package->id);
  // Another may have taken its place.
  if (found != records_.end() && found->first.data() == package->id.data()) records_.erase(found);
}

}  // namespace platform
