// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/config-file.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>

#include "handlers/config-text.h"
#include "handlers/handler-config.h"
#include "inspect/similar.h"
#include "text/printable.h"

namespace tools::inspect {

namespace {

constexpr char kKey[] = "request-types";
constexpr char kShape[] =
    "write it as \"request-types:\" and one line \"  - <type>\" for each type";

YAML::Node Parse(const std::string& path) {
  const std::string text = handlers::ReadConfigText(path);
  std::size_t left = handlers::kMaxParseCost;
  handlers::ChargeParseCost(handlers::ParseCost(text), left);
  return YAML::Load(text);
}

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

std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// Nothing but a dash, and a comment behind it.
bool IsBareDash(const std::string& line) {
  constexpr char kBlanks[] = " \t\r";
  const std::size_t dash = line.find_first_not_of(kBlanks);
  if (dash == std::string::npos || line[dash] != '-') return false;
  const std::size_t next = line.find_first_not_of(kBlanks, dash + 1);
  return next == std::string::npos || line[next] == '#';
}

// The parser says where the next thing stands when there is nothing behind a dash.
int LineOfNull(const YAML::Node& item, const std::vector<std::string>& lines) {
  const auto line = static_cast<std::size_t>(item.Mark().line);
  const auto column = static_cast<std::size_t>(item.Mark().column);
  if (line < lines.size()) {
    const std::string before = lines[line].substr(0, column);
    if (before.find_last_not_of(" \t") != std::string::npos) return LineOf(item);
  }
  for (std::size_t i = std::min(line + 1, lines.size()); i > 0; --i) {
    if (IsBareDash(lines[i - 1])) return static_cast<int>(i);
  }
  return LineOf(item);
}

// Items that the library takes, but hardly as they were meant.
std::vector<Finding> FindWarnings(const YAML::Node& types, const std::string& path,
                                  const std::string& file) {
  std::vector<Finding> warnings;
  std::set<std::string> seen;
  const std::vector<std::string> lines = ReadLines(path);
  for (const YAML::Node& item : types) {
    Location location{file, LineOf(item), kKey};
    if (item.IsNull()) {
      location.line = LineOfNull(item, lines);
      warnings.push_back({"an item without a text counts as the request type \"null\"",
                          "write the type after the dash, or remove the line", location});
    } else if (item.Scalar().empty()) {
      warnings.push_back(
          {"an item is an empty text", "write the type, or remove the line", location});
    } else if (!text::IsPrintable(item.Scalar())) {
      warnings.push_back({"\"" + item.Scalar() + "\" holds control characters or invalid UTF-8",
                          "write the type without them", location});
    } else if (!seen.insert(item.Scalar()).second) {
      warnings.push_back(
          {"\"" + item.Scalar() + "\" is in the list twice", "remove one", location});
    }
  }
  return warnings;
}

ConfigFile OfConfiguration(ConfigFile config) {
  for (auto* findings : {&config.errors, &config.warnings}) {
    for (Finding& finding : *findings) finding.topic = Topic::kConfiguration;
  }
  return config;
}

Finding DiagnoseFile(const std::string& path, const std::string& file) {
  try {
    const YAML::Node root = Parse(path);
    return Diagnose(root, file);
  } catch (const YAML::ParserException& error) {
    return {"not YAML: " + error.msg, "correct it there", {file, error.mark.line + 1}};
  } catch (const YAML::Exception&) {
    return {"the file cannot be read", "make it readable", {file}};
  }
}

}  // namespace

ConfigFile ReadConfigFile(const std::string& path, const std::string& shown_as,
                          handlers::PackageConfigs& package) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    return OfConfiguration(
        {{}, {{"a folder, not a configuration file", "name the file itself", {shown_as}}}, {}});
  }
  try {
    const auto& types = package.Load(path).RequestTypes();
    const YAML::Node root = Parse(path);
    const YAML::Node list = root[kKey];
    if (types.empty()) {
      return OfConfiguration(
          {{},
           {{"the list is empty", "add the request types", {shown_as, LineOf(list), kKey}}},
           {}});
    }
    return OfConfiguration({{types.begin(), types.end()}, {}, FindWarnings(list, path, shown_as)});
  } catch (const handlers::ConfigLimitError& refusal) {
    return OfConfiguration({{}, {{refusal.msg, "make it shorter", {shown_as}}}, {}});
  } catch (const YAML::Exception&) {
    return OfConfiguration({{}, {DiagnoseFile(path, shown_as)}, {}});
  }
}

int LineOfRequestType(const std::string& path, const std::string& type) {
  try {
    const YAML::Node root = Parse(path);
    for (const YAML::Node& item : root[kKey]) {
      if (item.IsScalar() && item.Scalar() == type) return LineOf(item);
    }
  } catch (const YAML::Exception&) {
    return 0;
  }
  return 0;
}

}  // namespace tools::inspect
