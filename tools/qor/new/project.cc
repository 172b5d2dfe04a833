// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/new/project.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

#include "inspect/config-file.h"
#include "platform/linux/common/ids.h"
#include "platform/linux/package-manager/file-system.h"
#include "qor/new/template.h"
#include "qor/output/tool-error.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;
using Values = std::map<std::string, std::string>;

constexpr char kRequestTypes[] = "package/res/handler.yaml";

std::string AsCxx(const std::string& text) {
  std::ostringstream literal;
  literal << std::quoted(text);
  return literal.str();
}

// Replaces the names in a text. What replaces them is not searched for names.
std::string Filled(const std::string& text, const Values& values) {
  std::string filled;
  for (std::size_t at = 0; at < text.size();) {
    const auto value = std::find_if(values.begin(), values.end(), [&](const auto& pair) {
      return text.compare(at, pair.first.size(), pair.first) == 0;
    });
    if (value == values.end()) {
      filled += text[at++];
    } else {
      filled += value->second;
      at += value->first.size();
    }
  }
  return filled;
}

std::string ForEachType(const std::string& text, const Project& project) {
  std::string filled;
  for (const auto& type : project.types) {
    filled +=
        Filled(text, {{"@c++-type@", AsCxx(type)}, {"@yaml-type@", YAML::Dump(YAML::Node(type))}});
  }
  return filled;
}

std::string Filled(const TemplateFile& file, const Project& project) {
  const Values values = {{"@package@", project.package},
                         {"@application@", project.ApplicationId()}};
  std::istringstream lines{std::string(file.text)};
  std::string filled;
  std::string repeated;
  bool is_repeated = false;
  for (std::string line; std::getline(lines, line);) {
    if (line == "@for each type@") {
      is_repeated = true;
    } else if (line == "@end@") {
      filled += ForEachType(repeated, project);
      is_repeated = false;
    } else if (is_repeated) {
      repeated += line + "\n";
    } else {
      filled += Filled(line + "\n", values);
    }
  }
  return filled;
}

void Write(const std::string& path, const std::string& text) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text << std::flush;
  if (!file) throw platform::FileError(path);
}

// A folder beside the project's, which is renamed when it is complete.
class Draft {
 public:
  explicit Draft(const std::string& name) : path_("." + name + "-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw platform::FileError(fs::current_path());
    fs::permissions(path_,
                    fs::perms::group_read | fs::perms::group_exec | fs::perms::others_read |
                        fs::perms::others_exec,
                    fs::perm_options::add);
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;
  ~Draft() {
    std::error_code error;
    fs::remove_all(path_, error);
  }

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

void CheckId(const Project& project) {
  if (platform::IsPackageId(project.package) && platform::IsApplicationId(project.ApplicationId()))
    return;
  throw ToolError(kUsage, "not a package id: \"" + project.package + "\"",
                  "use up to 49 letters, digits, '.', '-' and '_', such as org.example.text");
}

// Reads the request types back as the library does, so that it serves what was asked for.
void CheckTypes(const std::string& path, const std::vector<std::string>& types) {
  handlers::PackageConfigs configs;
  const auto config = inspect::ReadConfigFile(path, kRequestTypes, configs);
  for (const auto* findings : {&config.errors, &config.warnings}) {
    if (!findings->empty()) throw ToolError(kUsage, findings->front().message);
  }
  if (config.request_types != std::set<std::string>(types.begin(), types.end()))
    throw ToolError(kUsage, "a request type cannot be written to a YAML file");
}

[[noreturn]] void ThrowExists(const std::string& folder) {
  throw ToolError(kError, "already exists", "remove it, or choose another name", {folder});
}

}  // namespace

std::vector<std::string> Create(const Project& project) {
  CheckId(project);
  if (fs::exists(fs::symlink_status(project.package))) ThrowExists(project.package);
  const Draft draft(project.package);
  std::vector<std::string> files;
  for (const TemplateFile& file : kTemplate) {
    const std::string path = "/" + std::string(file.path);
    Write(draft.Path() + path, Filled(file, project));
    files.push_back(project.package + path);
  }
  CheckTypes(draft.Path() + "/" + kRequestTypes, project.types);
  // Fails if the folder has been created and filled in the meantime.
  fs::rename(draft.Path(), project.package);
  return files;
}

}  // namespace tools::cli
