// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Package manifests, in a package with all files that a manifest may name.

#include "platform/linux/package-manager/manifest.h"

#include <sys/stat.h>

#include "platform/linux/package-manager/errors.h"
#include "target.h"

namespace {

// Returns the package's folder.
const std::string& Package() {
  static const std::string folder = [] {
    for (const char* name : {"package/bin/app", "package/bin/other"})
      chmod(fuzz::WriteFile(name, "#!/bin/true\n").c_str(), 0700);
    return fuzz::ScratchFolder() + "/package";
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& folder = Package();
  fuzz::WriteFile("package/tizen-manifest.xml", fuzz::TextOf(data, size));
  try {
    const platform::PackageRecord package = platform::ReadManifest(folder, "package");
    fuzz::Require(!package.applications.empty(), "a package has an application");
    for (const auto& application : package.applications) {
      fuzz::Require(application.executable.compare(0, 4, "bin/") == 0,
                    "an executable is in the package");
    }
  } catch (const platform::InvalidPackageError& rejection) {
    fuzz::Require(!rejection.Reason().empty(), "a rejection has a reason");
  }
  return 0;
}
