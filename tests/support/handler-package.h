// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_HANDLER_PACKAGE_H_
#define TESTS_SUPPORT_HANDLER_PACKAGE_H_

// Handler packages in the fake package database, with their files under the fake's data folder.

#include <optional>
#include <string>
#include <vector>

#include "fake-platform.h"

namespace support {

inline constexpr char kCommandHandlerKey[] = "http://tizen.org/iot/metadata/qor/command-handler";
inline constexpr char kPriorityKey[] = "http://tizen.org/iot/metadata/qor/priority";

struct HandlerApp {
  std::string id;
  // Without a value the application declares no configuration file and is not a handler.
  std::optional<std::vector<std::string>> request_types;
  // The metadata value in the manifest; no entry without a value.
  std::optional<std::string> priority = "50";
};

// Writes the files and adds or replaces the package. Raises no event.
void InstallPackage(const std::string& package_id, const std::vector<HandlerApp>& apps,
                    bool preloaded = false);

// Installs an application in its own package, whose id is PackageOf(id).
void InstallHandler(const std::string& id, const std::vector<std::string>& request_types,
                    const std::optional<std::string>& priority = "50", bool preloaded = false);
std::string PackageOf(const std::string& app_id);

// Raise the platform's events of a native package.
void RaiseInstalled(const std::string& package_id);
void RaiseUpdated(const std::string& package_id);
void RaiseUninstalling(const std::string& package_id);

// Writes a file below the fake's data folder and creates its parent folders. Returns its path.
std::string WriteFile(const std::string& relative_path, const std::string& text);
std::string ReadFile(const std::string& path);
bool FileExists(const std::string& path);

}  // namespace support

#endif
