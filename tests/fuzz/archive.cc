// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Package archives, unpacked as by the installer.

#include <sys/stat.h>

#include <filesystem>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/package-manager/manifest.h"
#include "platform/linux/package-manager/package-source.h"
#include "platform/linux/package-manager/staging-writer.h"
#include "target.h"

namespace {

namespace fs = std::filesystem;

// Scaled down to inputs of a few kilobytes.
constexpr platform::PackageLimits kLimits{256 * 1024, 64, 20, 16 * 1024, 6, 64};

void CheckStaged(const fs::path& folder) {
  uint64_t bytes = 0;
  size_t entries = 0;
  const fs::recursive_directory_iterator tree(folder);
  for (auto at = begin(tree); at != end(tree); ++at) {
    const fs::directory_entry& entry = *at;
    ++entries;
    fuzz::Require(static_cast<size_t>(at.depth()) < kLimits.depth, "a package is not too deep");
    const auto type = entry.symlink_status().type();
    if (type == fs::file_type::regular) bytes += entry.file_size();
    fuzz::Require(type == fs::file_type::regular || type == fs::file_type::directory ||
                      type == fs::file_type::symlink,
                  "only files, folders and links are unpacked");
    const fs::path real = fs::weakly_canonical(entry.path());
    fuzz::Require(real.string().compare(0, folder.string().size(), folder) == 0,
                  "no path leads out of the package");
  }
  fuzz::Require(bytes <= kLimits.bytes && entries <= kLimits.entries,
                "a package is within the limits");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string archive = fuzz::WriteFile("package.tpk", fuzz::TextOf(data, size));
  const fs::path folder = fs::path(fuzz::ScratchFolder()) / "staging";
  fs::create_directory(folder);
  try {
    platform::StagingWriter writer(folder, archive, kLimits);
    platform::CopyPackage(archive, &writer);
    writer.Finish();
    CheckStaged(folder);
    platform::ReadManifest(folder, archive);
  } catch (const platform::InvalidPackageError& rejection) {
    fuzz::Require(!rejection.Reason().empty(), "a rejection has a reason");
  }
  platform::RemoveTree(folder);
  return 0;
}
