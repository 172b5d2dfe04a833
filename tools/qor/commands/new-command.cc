// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>

#include "qor/commands/commands.h"
#include "qor/new/project.h"
#include "qor/output/exit-codes.h"
#include "qor/output/finding-json.h"

namespace tools::cli {

namespace {

constexpr char kFooter[] =
    R"(The project is a folder with the name of the package, below the current folder. It has a program
with a function for each request type, which answers {"done":true}, a manifest, a list of the
request types and a test. It builds with CMake and the installed SDK for handlers, into a
package in the folder "package" of the build.

Example:
  qor new org.example.volume volume.get volume.set)";

void Print(const Project& project, const std::vector<std::string>& files, bool as_json) {
  if (as_json) {
    json::ValueWriter json;
    json.BeginObject().Member("package", project.package);
    json.Member("appId", project.ApplicationId());
    WriteTexts(json.Key("files"), files);
    std::cout << json.EndObject().Text() << "\n";
    return;
  }
  for (const auto& file : files) std::cout << file << "\n";
  const std::string build = project.package + "/build";
  std::cout << "Build and test it:\n  cmake -S " << project.package << " -B " << build
            << "\n  cmake --build " << build << "\n  ctest --test-dir " << build << "\n";
}

}  // namespace

void AddNewCommand(CLI::App& app, SelectedCommand& selected) {
  const auto project = std::make_shared<Project>();
  CLI::App* command = app.add_subcommand("new", "create the project of a handler package");
  command->footer(kFooter);
  command->add_option("NAME", project->package, "package id")->required();
  command->add_option("TYPE", project->types, "request types to serve")->required();
  command->add_flag("--json", selected.json, "print JSON");
  command->callback([project, &selected] {
    selected.run = [project, &selected] {
      Print(*project, Create(*project), selected.json);
      return static_cast<int>(kSuccess);
    };
  });
}

}  // namespace tools::cli
