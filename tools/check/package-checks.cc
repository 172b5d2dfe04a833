// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "check/package-checks.h"

#include <algorithm>
#include <filesystem>

#include "common/platform-names.h"
#include "inspect/package-file.h"

namespace tools::check {

namespace {

using inspect::Topic;

constexpr Check::Level kPass = Check::Level::kPass;
constexpr Check::Level kWarn = Check::Level::kWarn;
constexpr Check::Level kFail = Check::Level::kFail;

const char* NameOf(Topic topic) {
  switch (topic) {
    case Topic::kApplication:
      return "application";
    case Topic::kExecutable:
      return "executable";
    case Topic::kMetadata:
      return "metadata";
    case Topic::kConfiguration:
      return "configuration";
    case Topic::kPriority:
      return "priority";
    case Topic::kPrivileges:
      return "privileges";
    default:
      return "manifest";
  }
}

std::string Joined(const std::set<std::string>& texts) {
  std::string joined;
  for (const auto& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

class ApplicationChecks {
 public:
  // `prefix`: distinguishes the applications of a package in the names of checks.
  ApplicationChecks(const inspect::Application& application, const std::string& package_root,
                    const std::string& prefix, const Reporter& report)
      : application_(application), package_root_(package_root), prefix_(prefix), report_(report) {}

  void Run() const {
    const bool is_handler = application_.is_handler;
    Report(Topic::kApplication, is_handler, application_.record.id + " is a service application");
    Report(Topic::kExecutable, is_handler, Relative(application_.record.executable) + " exists");
    Report(Topic::kMetadata, is_handler, "names " + Relative(application_.config_file));
    Report(Topic::kConfiguration, !application_.request_types.empty(),
           "serves " + Joined(application_.request_types));
    Report(Topic::kPriority, is_handler,
           std::to_string(application_.priority.Value()) + ": " + application_.priority.Reason());
    Report(Topic::kPrivileges, is_handler, "has the privileges of a handler");
  }

 private:
  std::string Relative(const std::string& path) const {
    return std::filesystem::path(path).lexically_relative(package_root_);
  }

  // Reports the problems of a topic; without any, and if it `was_checked`, a pass.
  void Report(Topic topic, bool was_checked, const std::string& pass_message) const {
    const std::string name = prefix_ + NameOf(topic);
    bool has_problem = false;
    const auto report_all = [&](Check::Level level, const auto& findings) {
      for (const auto& finding : findings) {
        if (finding.topic != topic) continue;
        has_problem = true;
        report_({level, finding.message, finding.hint, finding.location, name});
      }
    };
    report_all(kFail, application_.errors);
    report_all(kFail, application_.runtime_errors);
    report_all(kWarn, application_.warnings);
    if (!has_problem && was_checked) report_({kPass, pass_message, "", {}, name});
  }

  const inspect::Application& application_;
  const std::string package_root_;
  const std::string prefix_;
  const Reporter& report_;
};

}  // namespace

void CheckContents(const inspect::Package& package, const std::string& path,
                   const Reporter& report) {
  const auto& applications = package.applications;
  report({kPass, package.record.id + " " + package.record.version, "", {}, "manifest"});
  for (const auto& warning : package.warnings) {
    report({kWarn, warning.message, warning.hint, warning.location, NameOf(warning.topic)});
  }
  for (const auto& application : applications) {
    const std::string prefix = applications.size() > 1 ? application.record.id + " " : "";
    ApplicationChecks(application, package.record.root_path, prefix, report).Run();
  }
  const bool has_handler =
      std::any_of(applications.begin(), applications.end(), [](const auto& application) {
        return application.is_handler || !application.errors.empty();
      });
  if (has_handler) return;
  const std::string key = common::kCommandHandlerKey;
  report({kFail,
          "no command handler: no application names a configuration file",
          "add <metadata key=\"" + key + "\" value=\"res/handler.yaml\"/> to the application",
          {path + "/tizen-manifest.xml", 0, key},
          NameOf(Topic::kMetadata)});
}

std::optional<inspect::Package> CheckPackage(const std::string& path, const Reporter& report) {
  try {
    const inspect::PackageFile file(path);
    CheckContents(file.Contents(), path, report);
    return file.Contents();
  } catch (const platform::InvalidPackageError& error) {
    const inspect::Finding finding = inspect::FindingOf(error);
    report({kFail, finding.message, finding.hint, finding.location, "manifest"});
    return std::nullopt;
  }
}

}  // namespace tools::check
