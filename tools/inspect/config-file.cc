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
constexpr char kFormatHint[] = "use \"request-types:\" and one line \"  - <type>\" per type";

YAML::Node Parse(const std::string& path) {
  const std::string text = handlers::ReadConfigText(path);
  std::size_t left = handlers::kMaxParseCost;
  handlers::ChargeParseCost(handlers::ParseCost(text), left);
  return YAML::Load(text);
}

int LineOf(const YAML::Node& node) { return node.Mark().line + 1; }

// Finds the error in a file that the library rejects.
Finding Diagnose(const YAML::Node& root, const std::string& file) {
  if (!root.IsMap())
    return {"expected a mapping with the key \"request-types\"", kFormatHint, {file, 1}};
  const YAML::Node types = root[kKey];
  if (!types.IsDefined()) {
    for (const auto& pair : root) {
      if (!pair.first.IsScalar() || !IsNearMiss(pair.first.Scalar(), kKey)) continue;
      return {"unknown key (expected \"request-types\")",
              "rename it to \"request-types\"",
              {file, LineOf(pair.first), pair.first.Scalar()}};
    }
    return {"missing key \"request-types\"", kFormatHint, {file, LineOf(root)}};
  }
  if (!types.IsSequence()) return {"not a list", kFormatHint, {file, LineOf(types), kKey}};
  for (const YAML::Node& type : types) {
    if (!type.IsScalar() && !type.IsNull()) {
      return {"list item is not a string", kFormatHint, {file, LineOf(type), kKey}};
    }
  }
  return {"invalid value", kFormatHint, {file, LineOf(types), kKey}};
}

std::vector<std::string> ReadLines(const std::string& path) {
  std::vector<std::string> lines;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// Returns whether the line is a list item without a value, comments aside.
bool IsBareDash(const std::string& line) {
  constexpr char kBlanks[] = " \t\r";
  const std::size_t dash = line.find_first_not_of(kBlanks);
  if (dash == std::string::npos || line[dash] != '-') return false;
  const std::size_t next = line.find_first_not_of(kBlanks, dash + 1);
  return next == std::string::npos || line[next] == '#';
}

// For an empty list item, the parser reports the position of the next token.
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

// Returns whether YAML defines another type than a string for a value without quotes.
bool IsNumberOrBoolean(const YAML::Node& item) {
  double number = 0;
  bool boolean = false;
  return item.Tag() == "?" && (YAML::convert<double>::decode(item, number) ||
                               YAML::convert<bool>::decode(item, boolean));
}

// Finds items that the library accepts, but that are probably mistakes.
std::vector<Finding> FindWarnings(const YAML::Node& types, const std::string& path,
                                  const std::string& file) {
  std::vector<Finding> warnings;
  std::set<std::string> seen;
  const std::vector<std::string> lines = ReadLines(path);
  for (const YAML::Node& item : types) {
    Location location{file, LineOf(item), kKey};
    if (item.IsNull()) {
      location.line = LineOfNull(item, lines);
      warnings.push_back({"empty item is the request type \"null\"",
                          "write the type after the dash, or remove the line", location});
    } else if (item.Scalar().empty()) {
      warnings.push_back({"empty request type", "write the type, or remove the line", location});
    } else if (!text::IsPrintable(item.Scalar())) {
      warnings.push_back({"\"" + item.Scalar() + "\" contains control characters or invalid UTF-8",
                          "remove them", location});
    } else if (item.Scalar().find(' ') != std::string::npos) {
      warnings.push_back({"\"" + item.Scalar() + "\" contains spaces",
                          "remove them: an agent must send the same text", location});
    } else if (IsNumberOrBoolean(item)) {
      warnings.push_back({"\"" + item.Scalar() + "\" is a number or a boolean, not a string",
                          "write it in quotes, or give the type a name", location});
    } else if (!seen.insert(item.Scalar()).second) {
      warnings.push_back(
          {"duplicate request type \"" + item.Scalar() + "\"", "remove one", location});
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

// YAML does not allow tabs in indentations; the parser's message rarely says so.
std::string SyntaxHint(const std::string& path, int error_line) {
  const std::vector<std::string> lines = ReadLines(path);
  for (std::size_t i = 0; i < lines.size() && static_cast<int>(i) <= error_line; ++i) {
    const std::string indentation = lines[i].substr(0, lines[i].find_first_not_of(" \t"));
    if (indentation.find('\t') != std::string::npos)
      return "indent with spaces: line " + std::to_string(i + 1) + " begins with a tab";
  }
  return "fix the syntax";
}

Finding DiagnoseFile(const std::string& path, const std::string& file) {
  try {
    const YAML::Node root = Parse(path);
    return Diagnose(root, file);
  } catch (const YAML::ParserException& error) {
    return {"invalid YAML: " + error.msg,
            SyntaxHint(path, error.mark.line),
            {file, error.mark.line + 1}};
  } catch (const YAML::Exception&) {
    return {"cannot read the file", "make it readable", {file}};
  }
}

}  // namespace

ConfigFile ReadConfigFile(const std::string& path, const std::string& shown_as,
                          handlers::PackageConfigs& package) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    return OfConfiguration(
        {{},
         {{"is a folder (expected a configuration file)", "set the path of the file", {shown_as}}},
         {}});
  }
  try {
    const auto& types = package.Load(path).RequestTypes();
    const YAML::Node root = Parse(path);
    const YAML::Node list = root[kKey];
    if (types.empty()) {
      return OfConfiguration(
          {{}, {{"empty list", "add the request types", {shown_as, LineOf(list), kKey}}}, {}});
    }
    return OfConfiguration({{types.begin(), types.end()}, {}, FindWarnings(list, path, shown_as)});
  } catch (const handlers::ConfigLimitError& limit_error) {
    return OfConfiguration({{}, {{limit_error.msg, "make it shorter", {shown_as}}}, {}});
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
