// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/installer.h"

#include <optional>
#include <utility>

#include "platform/linux/common/package-database.h"
#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/manifest.h"
#include "platform/linux/package-manager/package-source.h"
#include "platform/linux/package-manager/staging-writer.h"
#include "platform/linux/package-manager/staging.h"

namespace platform {

Installer::Installer(Report report) : report_(std::move(report)) {}

void Installer::Send(package_manager_event_state_e state, int progress) {
  event_.state = state;
  event_.progress = progress;
  if (report_) report_(event_);
  try {
    sender_.Send(event_);
  } catch (...) {
    // Events are best effort: an installation does not depend on its listeners.
    LogCurrentException();
  }
}

void Installer::RunWithEvents(const std::function<void()>& steps) {
  try {
    Send(PACKAGE_MANAGER_EVENT_STATE_STARTED, 0);
    steps();
  } catch (...) {
    event_.error = static_cast<package_manager_error_e>(CurrentErrorCode());
    Send(PACKAGE_MANAGER_EVENT_STATE_FAILED, event_.progress);
    throw;
  }
  Send(PACKAGE_MANAGER_EVENT_STATE_COMPLETED, 100);
}

void Installer::Install(const std::string& path) {
  const InstallLock lock;
  // Optional, so that it can be destroyed before the completed event is sent.
  std::optional<StagingEntry> staging(std::in_place);
  StagingWriter writer(staging->ContentFolder(), path, PackageLimits());
  CopyPackage(path, &writer);
  writer.Finish();
  PackageRecord package = ReadManifest(staging->ContentFolder(), path);
  const auto installed = FindPackage(package.id);
  // Only now is the package known to be valid and its id known. From here on there are events.
  event_.package_id = package.id;
  event_.type = installed ? PACKAGE_MANAGER_EVENT_TYPE_UPDATE : PACKAGE_MANAGER_EVENT_TYPE_INSTALL;
  RunWithEvents([&] {
    staging->SetPackage(package.id, installed.get());
    package.root_path = staging->MoveContentToPackages();
    for (ApplicationRecord& application : package.applications)
      application.executable = package.root_path + "/" + application.executable;
    // An update keeps the package preloaded.
    package.preload = package.preload || (installed && installed->preload);
    Send(PACKAGE_MANAGER_EVENT_STATE_PROCESSING, 50);
    StorePackage(package);
    // Terminates the old version's processes and removes its files before the completed event.
    staging.reset();
  });
}

void Installer::Uninstall(const std::string& package_id) {
  const InstallLock lock;
  const auto installed = FindPackage(package_id);
  if (!installed) throw NoSuchPackageError(package_id);
  event_.package_id = package_id;
  event_.package_type = installed->type;
  event_.type = PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL;
  RunWithEvents([&] {
    StagingEntry staging;
    staging.SetPackage(package_id, installed.get());
    Send(PACKAGE_MANAGER_EVENT_STATE_PROCESSING, 50);
    RemovePackage(package_id);
  });
}

}  // namespace platform
