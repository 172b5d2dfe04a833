// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/package-file.h"

#include <charconv>
#include <cstdlib>
#include <filesystem>

#include "inspect/similar.h"
#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/package-manager/manifest.h"
#include "platform/linux/package-manager/package-source.h"
#include "platform/linux/package-manager/staging-writer.h"

namespace tools::inspect {

namespace {

namespace fs = std::filesystem;

std::string NewFolder() {
  std::string folder = fs::temp_directory_path() / "qor-package-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) throw platform::FileError(folder);
  return fs::canonical(folder);
}

Package Read(const std::string& path, const std::string& folder) {
  platform::StagingWriter writer(folder, path, platform::PackageLimits());
  platform::CopyPackage(path, &writer);
  writer.Finish();
  platform::PackageRecord record = platform::ReadManifest(folder, path);
  record.root_path = folder;
  for (auto& application : record.applications) {
    application.executable = folder + "/" + application.executable;
  }
  return InspectPackage(record, path);
}

// Returns the hint for an "exec" that is not an executable file. Only a package folder can be
// searched for another file.
std::string ExecHint(const platform::InvalidPackageError& error) {
  constexpr char kGeneral[] =
      "set an executable file in bin/, a different one for each application";
  const auto names = [&error](const char* problem) -> std::string {
    const auto at = error.Reason().find(problem);
    return at != std::string::npos ? error.Reason().substr(0, at) : "";
  };
  const fs::path folder = fs::path(error.File()).parent_path();
  if (const auto file = names(" is not executable"); !file.empty())
    return "run: chmod +x " + std::string(folder / file);
  const fs::path missing = names(" does not exist");
  if (missing.string().rfind("bin/bin/", 0) == 0)
    return "exec is relative to bin/: write exec=\"" + missing.string().substr(8) + "\"";
  if (missing.empty()) return kGeneral;
  const std::string similar = SimilarFile(folder / missing.parent_path(), missing.filename());
  if (similar.empty()) return kGeneral;
  const fs::path present = missing.parent_path() / similar;
  return "there is " + std::string(present) + ": write exec=\"" +
         std::string(present.lexically_relative("bin")) + "\"";
}

// Returns the hint for an invalid attribute of the manifest.
std::string HintFor(const platform::InvalidPackageError& error) {
  const std::string& key = error.Key();
  if (key == platform::kManifestFile)
    return "pack the folder that contains the manifest: qor package pack FOLDER";
  if (key == "exec") return ExecHint(error);
  if (key == "version") return "use three numbers, such as version=\"1.2.3\"";
  if (key == "package" || key == "appid") {
    return "use a unique id, such as org.example.text: letters, digits, '.', '-' and '_'";
  }
  return "fix the package";
}

}  // namespace

PackageFile::Folder::~Folder() {
  try {
    platform::RemoveTree(path);
  } catch (...) {
    platform::LogCurrentException();
  }
}

PackageFile::PackageFile(const std::string& path)
    : folder_{NewFolder()}, package_(Read(path, folder_.path)) {}

Finding FindingOf(const platform::InvalidPackageError& error) {
  Finding finding{error.Reason(), HintFor(error), {error.File(), 0, error.Key()}};
  const std::string& location = error.Location();
  const char* const end = location.data() + location.size();
  // A line of the manifest, or else the name of an entry.
  if (std::from_chars(location.data(), end, finding.location.line).ptr != end) {
    finding.location = {error.File(), 0, location};
  }
  // Without a manifest there is neither a line nor an attribute.
  if (error.Key() == platform::kManifestFile) finding.location = {error.File()};
  return finding;
}

std::optional<Finding> RejectionOf(const std::string& path) {
  try {
    const PackageFile package(path);
    return std::nullopt;
  } catch (const platform::InvalidPackageError& error) {
    return FindingOf(error);
  }
}

}  // namespace tools::inspect
