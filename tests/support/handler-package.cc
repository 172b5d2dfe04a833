// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handler-package.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace support {

void InstallPackage(const std::string& package_id, const std::vector<HandlerApp>& apps,
                    bool preloaded) {
  fake::Package package;
  package.id = package_id;
  package.root_path = fake::DataPath() + "packages/" + package_id;
  package.preloaded = preloaded;
  for (const HandlerApp& handler : apps) {
    fake::App app;
    app.id = handler.id;
    if (handler.request_types) {
      const std::string file = "res/" + handler.id + ".yaml";
      std::string text = "request-types:";
      for (const std::string& type : *handler.request_types) text += "\n  - " + type;
      if (handler.request_types->empty()) text += " []";
      WriteFile("packages/" + package_id + "/" + file, text + "\n");
      app.metadata.emplace_back(kCommandHandlerKey, file);
    }
    if (handler.priority) app.metadata.emplace_back(kPriorityKey, *handler.priority);
    package.apps.push_back(app);
  }
  fake::Install(package);
}

void InstallHandler(const std::string& id, const std::vector<std::string>& request_types,
                    const std::optional<std::string>& priority, bool preloaded) {
  InstallPackage(PackageOf(id), {{id, request_types, priority}}, preloaded);
}

std::string PackageOf(const std::string& app_id) { return "package." + app_id; }

void RaiseInstalled(const std::string& package_id) {
  fake::RaisePackageEvent("tpk", package_id, PACKAGE_MANAGER_EVENT_TYPE_INSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
}

void RaiseUpdated(const std::string& package_id) {
  fake::RaisePackageEvent("tpk", package_id, PACKAGE_MANAGER_EVENT_TYPE_UPDATE,
                          PACKAGE_MANAGER_EVENT_STATE_COMPLETED);
}

void RaiseUninstalling(const std::string& package_id) {
  fake::RaisePackageEvent("tpk", package_id, PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL,
                          PACKAGE_MANAGER_EVENT_STATE_STARTED);
}

std::string WriteFile(const std::string& relative_path, const std::string& text) {
  const std::string path = fake::DataPath() + relative_path;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << text;
  return path;
}

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

bool FileExists(const std::string& path) { return std::filesystem::exists(path); }

}  // namespace support
