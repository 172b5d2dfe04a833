// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_PACKAGE_FOLDER_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_PACKAGE_FOLDER_H_

#include <string>
#include <utility>
#include <vector>

namespace platform::test {

// A package to install, written as an unpacked folder: org.test.p with the service application
// org.test.p.app, whose executable bin/app does nothing.
struct PackageSpec {
  std::string id = "org.test.p";
  std::string version = "1.0.0";
  std::string app_id = "org.test.p.app";
  std::string executable;  // copied to bin/app; empty: a script
  std::vector<std::pair<std::string, std::string>> metadata;
  std::vector<std::string> privileges;
  bool preload = false;
};

void WriteFile(const std::string& path, const std::string& content, bool executable = false);
std::string ReadFile(const std::string& path);

std::string ManifestOf(const PackageSpec& package);

// Creates nested folders of the same name in `folder`, possibly deeper than PATH_MAX allows.
void MakeDeepFolder(const std::string& folder, const std::string& name, int levels);

// Writes the package to a folder, which is created with its parents.
void WritePackage(const std::string& folder, const PackageSpec& package);

}  // namespace platform::test

#endif
