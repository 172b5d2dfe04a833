// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/config-file.h"

#include <yaml-cpp/yaml.h>

#include <filesystem>

#include "handlers/handler-config.h"
#include "inspect/similar.h"

namespace inspect {

namespace {

constexpr char kKey[] = "request-types";
constexpr char kShape[] =
    "write it as \"request-types:\" and one line \"  - <type>\" for each type";

int LineOf(const YAML::Node& node) { return node.Mark().line + 1; }

// What is wrong with a file that the library could not take.
Finding Diagnose(const YAML::Node& root, const std::string& file) {
  if (!root.IsMap())
    return {"there is no mapping with the key \"request-types\"", kShape, {file, 1}};
  const YAML::Node types = root[kKey];
  if (!types.IsDefined()) {
    for (const auto& pair : root) {
      if (!pair.first.IsScalar() || !IsNearMiss(pair.first.Scalar(), kKey)) continue;
      return {"this key is not \"request-types\"",
              "rename it to \"request-types\"",
              {file, LineOf(pair.first), pair.first.Scalar()}};
    }
    return {"the key \"request-types\" is missing", kShape, {file, LineOf(root)}};
  }
  if (!types.IsSequence()) return {"it is not a list", kShape, {file, LineOf(types), kKey}};
  for (const YAML::Node& type : types) {
    if (!type.IsScalar() && !type.IsNull()) {
      return {"an item of the list is not a text", kShape, {file, LineOf(type), kKey}};
    }
  }
  return {"it cannot be understood", kShape, {file, LineOf(types), kKey}};
}

// Items that the library takes, but hardly as they were meant.
std::vector<Finding> Doubts(const YAML::Node& types, const std::string& file) {
  std::vector<Finding> doubts;
  std::set<std::string> seen;
  for (const YAML::Node& item : types) {
    const Place place{file, LineOf(item), kKey};
    if (item.IsNull()) {
      doubts.push_back({"an item without a text counts as the request type \"null\"",
                        "write the type after the dash, or remove the line", place});
    } else if (item.Scalar().empty()) {
      doubts.push_back({"an item is an empty text", "write the type, or remove the line", place});
    } else if (!seen.insert(item.Scalar()).second) {
      doubts.push_back({"\"" + item.Scalar() + "\" is in the list twice", "remove one", place});
    }
  }
  return doubts;
}

ConfigFile OfConfiguration(ConfigFile config) {
  for (auto* findings : {&config.obstacles, &config.doubts}) {
    for (Finding& finding : *findings) finding.topic = Topic::kConfiguration;
  }
  return config;
}

Finding DiagnoseFile(const std::string& path, const std::string& file) {
  try {
    const YAML::Node root = YAML::LoadFile(path);
    return Diagnose(root, file);
  } catch (const YAML::ParserException& error) {
    return {"not YAML: " + error.msg, "correct it there", {file, error.mark.line + 1}};
  } catch (const YAML::Exception&) {
    return {"the file cannot be read", "make it readable", {file}};
  }
}

}  // namespace

ConfigFile ReadConfigFile(const std::string& path, const std::string& shown_as) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    return OfConfiguration(
        {{}, {{"a folder, not a configuration file", "name the file itself", {shown_as}}}, {}});
  }
  try {
    const auto types = handlers::HandlerConfig::Load(path).RequestTypes();
    const YAML::Node root = YAML::LoadFile(path);
    const YAML::Node list = root[kKey];
    if (types.empty()) {
      return OfConfiguration(
          {{},
           {{"the list is empty", "add the request types", {shown_as, LineOf(list), kKey}}},
           {}});
    }
    return OfConfiguration({{types.begin(), types.end()}, {}, Doubts(list, shown_as)});
  } catch (const YAML::Exception&) {
    return OfConfiguration({{}, {DiagnoseFile(path, shown_as)}, {}});
  }
}

int LineOfRequestType(const std::string& path, const std::string& type) {
  try {
    const YAML::Node root = YAML::LoadFile(path);
    for (const YAML::Node& item : root[kKey]) {
      if (item.IsScalar() && item.Scalar() == type) return LineOf(item);
    }
  } catch (const YAML::Exception&) {
    return 0;
  }
  return 0;
}

}  // namespace inspect
