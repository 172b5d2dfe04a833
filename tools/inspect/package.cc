// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/package.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <utility>

#include "common/platform-names.h"
#include "inspect/config-file.h"
#include "inspect/executable.h"
#include "inspect/manifest-lines.h"
#include "inspect/similar.h"

namespace tools::inspect {

namespace {

namespace fs = std::filesystem;

std::string LastPart(const std::string& key) { return key.substr(key.rfind('/') + 1); }

bool LeavesPackage(const std::string& file) {
  // The library appends the path to the package's folder, with or without a leading slash.
  const fs::path path = fs::path(file).relative_path().lexically_normal();
  return !path.empty() && *path.begin() == "..";
}

class Inspector {
 public:
  Inspector(const platform::PackageRecord& package, const std::string& shown_as)
      : package_(package),
        shown_as_(shown_as),
        manifest_(shown_as + "/tizen-manifest.xml"),
        lines_(package.root_path + "/tizen-manifest.xml") {}

  Package Inspect() const {
    Package package{package_, {}, {}};
    handlers::PackageConfigs configs;
    for (const auto& record : package_.applications) {
      package.applications.push_back(InspectApplication(record, configs));
    }
    FindSharedTypes(package.applications);
    CheckNamespace(package.warnings);
    return package;
  }

 private:
  using Metadata = std::vector<std::pair<std::string, std::string>>;

  Application InspectApplication(const platform::ApplicationRecord& record,
                                 handlers::PackageConfigs& configs) const {
    Application application;
    application.record = record;
    application.priority.preloaded = package_.preload;
    ReadPriority(application);
    ReadRequestTypes(application, configs);
    if (application.is_handler) {
      CheckKind(application);
      CheckExecutable(application);
      CheckPrivileges(application);
    }
    return application;
  }

  // Reports one type per application: two that use the same file share all of them.
  void FindSharedTypes(std::vector<Application>& applications) const {
    std::map<std::string, std::string> owners;  // the first application with the type
    for (Application& application : applications) {
      bool is_reported = false;
      for (const auto& type : application.request_types) {
        const auto [owner, is_new] = owners.emplace(type, application.record.id);
        if (is_new || is_reported) continue;
        is_reported = true;
        application.warnings.push_back(
            {"\"" + type + "\" is also declared by " + owner->second +
                 ": only one of the two is selected",
             "declare each type in one application",
             {ShownFile(application.config_file), LineOfRequestType(application.config_file, type),
              "request-types"},
             Topic::kConfiguration});
      }
    }
  }

  void CheckNamespace(std::vector<Finding>& warnings) const {
    const std::string expected = "http://tizen.org/ns/packages";
    const std::string& found = lines_.Namespace();
    if (found == expected) return;
    warnings.push_back(
        {found.empty() ? "no XML namespace" : "wrong XML namespace \"" + found + "\"",
         "write <manifest xmlns=\"" + expected + "\" ...>",
         {manifest_, lines_.OfRoot(), "xmlns"}});
  }

  std::string ShownFile(const std::string& path) const {
    return shown_as_ + "/" + std::string(fs::path(path).lexically_relative(package_.root_path));
  }

  // Returns the first entry of a key; the library ignores others.
  static Metadata::const_iterator Find(const Metadata& metadata, const std::string& key) {
    return std::find_if(metadata.begin(), metadata.end(),
                        [&key](const auto& entry) { return entry.first == key; });
  }

  Location LocationOf(const Application& application, Metadata::const_iterator entry) const {
    const auto index = static_cast<std::size_t>(entry - application.record.metadata.begin());
    return {manifest_, lines_.OfMetadata(application.record.id, index), entry->first};
  }

  // Finds entries whose key is probably a misspelling of `key`.
  void FindNearMiss(const Application& application, const std::string& key, Topic topic,
                    std::vector<Finding>& findings) const {
    const Metadata& metadata = application.record.metadata;
    for (auto entry = metadata.begin(); entry != metadata.end(); ++entry) {
      const std::string last = LastPart(entry->first);
      if (!IsNearMiss(entry->first, key) && !IsNearMiss(last, LastPart(key)) &&
          last != LastPart(key)) {
        continue;
      }
      findings.push_back({"unknown key (expected \"" + key + "\")", "rename it to \"" + key + "\"",
                          LocationOf(application, entry), topic});
    }
  }

  void ReadPriority(Application& application) const {
    const Metadata& metadata = application.record.metadata;
    const auto entry = Find(metadata, common::kPriorityKey);
    if (entry == metadata.end()) {
      application.priority.declared = handlers::ReadPriority(nullptr);
      FindNearMiss(application, common::kPriorityKey, Topic::kPriority, application.warnings);
      return;
    }
    using Source = handlers::DeclaredPriority::Source;
    application.priority.text = entry->second;
    application.priority.declared = handlers::ReadPriority(&entry->second);
    const auto& [source, value] = application.priority.declared;
    if (source != Source::kInvalid && source != Source::kClamped) return;
    const std::string problem = source == Source::kInvalid
                                    ? "is not a number, priority is 0"
                                    : "is out of range, priority is " + std::to_string(value);
    application.warnings.push_back({"\"" + entry->second + "\" " + problem,
                                    "write a number from " +
                                        std::to_string(handlers::kLowestPriority) + " to " +
                                        std::to_string(handlers::kHighestPriority),
                                    LocationOf(application, entry), Topic::kPriority});
  }

  void ReadRequestTypes(Application& application, handlers::PackageConfigs& configs) const {
    const Metadata& metadata = application.record.metadata;
    const auto entry = Find(metadata, common::kCommandHandlerKey);
    if (entry == metadata.end()) {
      FindNearMiss(application, common::kCommandHandlerKey, Topic::kMetadata, application.errors);
      return;
    }
    application.is_handler = true;
    const Location location = LocationOf(application, entry);
    if (entry->second.empty()) {
      application.errors.push_back({"empty value (expected a configuration file)",
                                    "set the path of the file relative to the package", location,
                                    Topic::kMetadata});
      return;
    }
    application.config_file = package_.root_path + "/" + entry->second;
    const bool exists = fs::exists(application.config_file);
    if (LeavesPackage(entry->second)) {
      (exists ? application.runtime_errors : application.errors)
          .push_back({"configuration file " + entry->second + " is outside the package",
                      "move it into the package, and set its path relative to the package",
                      location, Topic::kMetadata});
    } else if (!exists) {
      const fs::path file = entry->second;
      const std::string similar =
          SimilarFile(fs::path(application.config_file).parent_path(), file.filename());
      application.errors.push_back(
          {"configuration file " + entry->second + " does not exist",
           similar.empty() ? "add it to the package, or fix the path"
                           : "did you mean " + std::string(file.parent_path() / similar) + "?",
           location, Topic::kMetadata});
    }
    if (!exists) return;
    ConfigFile config =
        ReadConfigFile(application.config_file, shown_as_ + "/" + entry->second, configs);
    application.request_types = std::move(config.request_types);
    application.errors = std::move(config.errors);
    std::move(config.warnings.begin(), config.warnings.end(),
              std::back_inserter(application.warnings));
  }

  // Agents launch handlers in the background, so a window would surprise the user.
  void CheckKind(Application& application) const {
    if (application.record.kind == platform::ApplicationKind::kService) return;
    application.warnings.push_back(
        {"not a service application: the handler is visible when launched",
         "declare it as a <service-application>",
         {manifest_, lines_.OfApplication(application.record.id)},
         Topic::kApplication});
  }

  void CheckExecutable(Application& application) const {
    const std::string& file = application.record.executable;
    std::optional<Finding> problem;
    if (access(file.c_str(), X_OK) == 0) {
      problem = FindExecutableProblem(file);
    } else if (fs::exists(file)) {
      problem = Finding{"cannot be launched: executable has no execute permission",
                        "run: chmod +x " + file};
    } else {
      problem = Finding{"cannot be launched: missing executable", "reinstall the package"};
    }
    if (!problem) return;
    problem->location.file = ShownFile(file);
    problem->topic = Topic::kExecutable;
    application.runtime_errors.push_back(*problem);
  }

  void CheckPrivileges(Application& application) const {
    for (const std::string name : common::kHandlerPrivileges) {
      if (std::count(package_.privileges.begin(), package_.privileges.end(), name) != 0) continue;
      application.runtime_errors.push_back(
          {"missing privilege, connections are rejected",
           "add <privilege>" + name + "</privilege> to <privileges>",
           {manifest_, lines_.OfPrivileges(), name},
           Topic::kPrivileges});
    }
  }

  const platform::PackageRecord& package_;
  const std::string shown_as_;
  const std::string manifest_;
  const ManifestLines lines_;
};

}  // namespace

std::string Priority::Reason() const {
  using Source = handlers::DeclaredPriority::Source;
  std::string reason;
  switch (declared.source) {
    case Source::kDeclared:
      reason = "declared as " + text;
      break;
    case Source::kClamped:
      reason = "declared as " + text + ", limited to " + std::to_string(declared.value);
      break;
    case Source::kMissing:
      reason = "not declared, default 0";
      break;
    case Source::kInvalid:
      reason = "declared as \"" + text + "\", not a number, default 0";
      break;
  }
  if (preloaded) {
    reason += ", plus " + std::to_string(handlers::kPreloadedBonus) + " for a preloaded package";
  }
  return reason;
}

std::vector<Finding> Application::Problems() const {
  std::vector<Finding> problems = errors;
  problems.insert(problems.end(), runtime_errors.begin(), runtime_errors.end());
  problems.insert(problems.end(), warnings.begin(), warnings.end());
  return problems;
}

Package InspectPackage(const platform::PackageRecord& record, const std::string& shown_as) {
  return Inspector(record, shown_as).Inspect();
}

std::vector<Package> InspectInstalledPackages() {
  std::vector<Package> packages;
  for (const auto& record : platform::AllPackages()) {
    packages.push_back(InspectPackage(record, record.root_path));
  }
  return packages;
}

}  // namespace tools::inspect
