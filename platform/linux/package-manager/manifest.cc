// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/manifest.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <pugixml.hpp>
#include <set>
#include <system_error>

#include "platform/linux/common/ids.h"
#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/package-limits.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

// Three numbers, at most 255.255.65535.
bool IsVersion(const std::string& text) {
  constexpr unsigned kMax[] = {255, 255, 65535};
  const char* next = text.data();
  const char* const end = text.data() + text.size();
  for (size_t i = 0; i < 3; ++i) {
    if (i > 0 && (next == end || *next++ != '.')) return false;
    unsigned number = 0;
    const auto parsed = std::from_chars(next, end, number);
    if (parsed.ec != std::errc() || number > kMax[i]) return false;
    next = parsed.ptr;
  }
  return next == end;
}

bool KindOf(const char* element, ApplicationKind* kind) {
  static constexpr struct {
    const char* element;
    ApplicationKind kind;
  } kKinds[] = {{"ui-application", ApplicationKind::kUi},
                {"service-application", ApplicationKind::kService},
                {"widget-application", ApplicationKind::kWidget},
                {"watch-application", ApplicationKind::kWatch}};
  for (const auto& entry : kKinds) {
    if (std::strcmp(entry.element, element) != 0) continue;
    *kind = entry.kind;
    return true;
  }
  return false;
}

std::string Trimmed(const std::string& text) {
  constexpr char kBlanks[] = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

class ManifestReader {
 public:
  ManifestReader(const std::string& folder, const std::string& shown_as)
      : folder_(fs::canonical(folder)), shown_as_(shown_as + "/" + kManifestFile) {}

  PackageRecord Read() {
    Load();
    const pugi::xml_node root = document_.document_element();
    if (std::strcmp(root.name(), "manifest") != 0)
      Reject(root, "the root element is <" + std::string(root.name()) + ">, not <manifest>");
    ReadPackage(root);
    for (const pugi::xml_node& element : root.children()) {
      ApplicationKind kind{};
      if (KindOf(element.name(), &kind)) ReadApplication(element, kind);
    }
    if (package_.applications.empty()) Reject(root, "the package has no application");
    for (const pugi::xml_node& list : root.children("privileges")) ReadPrivileges(list);
    return std::move(package_);
  }

 private:
  [[noreturn]] void Reject(ptrdiff_t offset, const std::string& reason,
                           const std::string& key = "") const {
    const auto end =
        text_.begin() + std::clamp<ptrdiff_t>(offset, 0, static_cast<ptrdiff_t>(text_.size()));
    throw InvalidPackageError(shown_as_, std::to_string(1 + std::count(text_.begin(), end, '\n')),
                              reason, key);
  }

  // `key` is the invalid attribute.
  [[noreturn]] void Reject(const pugi::xml_node& where, const std::string& reason,
                           const std::string& key = "") const {
    Reject(where.offset_debug(), reason, key);
  }

  // " (found a/tizen-manifest.xml)" for a manifest with another path, otherwise the names at the
  // top of the package.
  std::string FoundInstead() const {
    constexpr size_t kMaxShown = 3;
    std::set<std::string> top;
    std::set<std::string> manifests;
    for (const fs::directory_entry& item : fs::recursive_directory_iterator(folder_)) {
      const fs::path path = item.path().lexically_relative(folder_);
      if (strcasecmp(path.filename().c_str(), kManifestFile) == 0) manifests.insert(path);
      if (!path.has_parent_path()) top.insert(path);
    }
    std::string found;
    size_t shown = 0;
    for (const std::string& path : manifests.empty() ? top : manifests) {
      if (++shown > kMaxShown) break;
      found += (found.empty() ? "" : ", ") + path;
    }
    return found.empty() ? "" : " (found " + found + ")";
  }

  void Load() {
    std::ifstream file(folder_ / kManifestFile, std::ios::binary);
    if (!fs::is_regular_file(folder_ / kManifestFile) || !file)
      Reject(ptrdiff_t{0}, "the package has no manifest" + FoundInstead(), kManifestFile);
    if (fs::file_size(folder_ / kManifestFile) > kMaxManifestSize)
      Reject(ptrdiff_t{0},
             "the manifest is longer than " + std::to_string(kMaxManifestSize) + " bytes");
    text_.assign(std::istreambuf_iterator<char>(file), {});
    const pugi::xml_parse_result result =
        document_.load_buffer(text_.data(), text_.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result) Reject(result.offset, result.description());
  }

  void ReadPackage(const pugi::xml_node& root) {
    package_.id = root.attribute("package").value();
    if (!IsPackageId(package_.id))
      Reject(root,
             package_.id.empty() ? "the package id is missing"
                                 : "\"" + package_.id + "\" is not a package id",
             "package");
    package_.version = root.attribute("version").value();
    if (!IsVersion(package_.version))
      Reject(root,
             package_.version.empty() ? "the version is missing"
                                      : "\"" + package_.version + "\" is not a version like 1.2.3",
             "version");
    package_.preload = root.attribute("preload").as_bool();
  }

  void ReadApplication(const pugi::xml_node& element, ApplicationKind kind) {
    if (package_.applications.size() == kMaxApplications)
      Reject(element,
             "the package has more than " + std::to_string(kMaxApplications) + " applications");
    ApplicationRecord application;
    application.kind = kind;
    application.id = ApplicationIdOf(element);
    application.executable = ExecutableOf(element);
    CheckUnique(element, application);
    for (const pugi::xml_node& pair : element.children("metadata")) {
      if (*pair.attribute("key").value() == '\0') Reject(pair, "metadata without a key", "key");
      application.metadata.emplace_back(pair.attribute("key").value(),
                                        pair.attribute("value").value());
    }
    package_.applications.push_back(std::move(application));
  }

  std::string ApplicationIdOf(const pugi::xml_node& element) const {
    std::string id = element.attribute("appid").value();
    if (HasHostPrefix(id))
      Reject(element, "\"" + id + "\" is reserved for a process that is not installed", "appid");
    if (!IsApplicationId(id))
      Reject(
          element,
          id.empty() ? "the application id is missing" : "\"" + id + "\" is not an application id",
          "appid");
    return id;
  }

  void CheckUnique(const pugi::xml_node& element, const ApplicationRecord& application) const {
    for (const ApplicationRecord& other : package_.applications) {
      if (other.id == application.id)
        Reject(element, "duplicate application id " + other.id, "appid");
      // A running application is identified by its executable.
      if (other.executable == application.executable)
        Reject(element, "application " + other.id + " has the same executable", "exec");
    }
    const auto owner = FindApplication(application.id);
    if (owner && owner->package_id != package_.id)
      Reject(element,
             "application " + application.id + " belongs to installed package " + owner->package_id,
             "appid");
  }

  std::string ExecutableOf(const pugi::xml_node& element) const {
    const std::string exec = element.attribute("exec").value();
    if (exec.empty()) Reject(element, "the application has no exec", "exec");
    const fs::path path(exec);
    if (path.is_absolute())
      Reject(element, "exec \"" + exec + "\" is absolute, not a file below bin/", "exec");
    if (std::find(path.begin(), path.end(), "..") != path.end())
      Reject(element, "exec \"" + exec + "\" has a \"..\" in it", "exec");
    std::error_code missing;
    const fs::path real = fs::canonical(folder_ / "bin" / path, missing);
    if (missing) Reject(element, "bin/" + exec + " does not exist", "exec");
    if (!fs::is_regular_file(real)) Reject(element, "bin/" + exec + " is not a file", "exec");
    struct stat status {};
    if (stat(real.c_str(), &status) != 0 || (status.st_mode & S_IXUSR) == 0)
      Reject(element, "bin/" + exec + " is not executable", "exec");
    return real.lexically_relative(folder_);
  }

  void ReadPrivileges(const pugi::xml_node& list) {
    for (const pugi::xml_node& element : list.children("privilege")) {
      std::string name = Trimmed(element.text().get());
      if (name.empty()) Reject(element, "privilege without a name");
      package_.privileges.push_back(std::move(name));
    }
  }

  const fs::path folder_;
  const std::string shown_as_;
  std::string text_;
  pugi::xml_document document_;
  PackageRecord package_;
};

}  // namespace

PackageRecord ReadManifest(const std::string& folder, const std::string& shown_as) {
  return ManifestReader(folder, shown_as).Read();
}

}  // namespace platform
