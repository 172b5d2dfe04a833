// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_manager.h>
#include <CLI/CLI.hpp>

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "inspect/package-file.h"
#include "inspect/package.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/root-folder.h"
#include "qor/commands/commands.h"
#include "qor/output/finding-json.h"
#include "qor/output/tool-error.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

struct Options {
  std::string argument;
  bool json = false;
};

// One request to the package manager, and the package and operation that it reported.
class Request {
 public:
  Request() {
    if (package_manager_request_create(&handle_) != PACKAGE_MANAGER_ERROR_NONE) {
      throw ToolError(kError, "cannot create a package manager request");
    }
    package_manager_request_set_event_cb(
        handle_,
        [](int, const char*, const char* package, package_manager_event_type_e type,
           package_manager_event_state_e, int, package_manager_error_e, void* data) {
          auto* self = static_cast<Request*>(data);
          self->package_ = package;
          self->type_ = type;
        },
        this);
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  ~Request() { package_manager_request_destroy(handle_); }

  package_manager_request_h Get() const { return handle_; }
  const std::string& Package() const { return package_; }
  const char* Outcome() const {
    switch (type_) {
      case PACKAGE_MANAGER_EVENT_TYPE_INSTALL:
        return "installed";
      case PACKAGE_MANAGER_EVENT_TYPE_UPDATE:
        return "updated";
      default:
        return "uninstalled";
    }
  }

 private:
  package_manager_request_h handle_ = nullptr;
  std::string package_;
  package_manager_event_type_e type_ = PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL;
};

void Print(const Request& request, bool as_json) {
  if (as_json) {
    json::ValueWriter json;
    json.BeginObject().Member("package", request.Package());
    std::cout << json.Member("outcome", request.Outcome()).EndObject().Text() << "\n";
  } else {
    std::cout << text::Printable(request.Package()) << ": " << request.Outcome() << "\n";
  }
}

void RequireFile(const std::string& path) {
  if (!std::filesystem::exists(path)) {
    throw ToolError(kError, "no such file or folder", "pass a package folder or a .tpk file",
                    {path});
  }
}

int Install(const Options& options) {
  RequireFile(options.argument);
  // Reports why the root folder cannot be written; the request's error would not say.
  platform::RootFolder();
  const Request request;
  const std::string path = std::filesystem::absolute(options.argument);
  const int error = package_manager_request_install(request.Get(), path.c_str(), nullptr);
  if (error == PACKAGE_MANAGER_ERROR_INVALID_PARAMETER) {
    if (const auto reason = inspect::RejectionOf(options.argument))
      throw ToolError(kError, *reason);
  }
  if (error != PACKAGE_MANAGER_ERROR_NONE) {
    throw ToolError(kError, std::string("cannot install the package: ") + get_error_message(error),
                    "run \"qor doctor\"", {options.argument});
  }
  Print(request, options.json);
  return kSuccess;
}

std::string IdOf(const std::string& path) {
  try {
    return inspect::PackageFile(path).Contents().record.id;
  } catch (const platform::InvalidPackageError& error) {
    throw ToolError(kError, inspect::FindingOf(error));
  }
}

int Update(const Options& options) {
  RequireFile(options.argument);
  const std::string id = IdOf(options.argument);
  if (!platform::FindPackage(id)) {
    throw ToolError(kError, "cannot update " + id + ": package is not installed",
                    "use \"qor package install\"");
  }
  return Install(options);
}

[[noreturn]] void ThrowNotInstalled(const std::string& package) {
  throw ToolError(kError, "package " + package + " is not installed",
                  "\"qor package list\" shows the installed packages");
}

int Uninstall(const Options& options) {
  const Request request;
  const int error =
      package_manager_request_uninstall(request.Get(), options.argument.c_str(), nullptr);
  if (error == PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE) ThrowNotInstalled(options.argument);
  if (error != PACKAGE_MANAGER_ERROR_NONE) {
    throw ToolError(kError,
                    "cannot uninstall " + options.argument + ": " + get_error_message(error),
                    "run \"qor doctor\"");
  }
  Print(request, options.json);
  return kSuccess;
}

int List(const Options& options) {
  const auto packages = platform::AllPackages();
  if (options.json) {
    json::ValueWriter json;
    json.BeginArray();
    for (const auto& package : packages) {
      json.BeginObject().Member("package", package.id).Member("version", package.version);
      json.Member("preloaded", package.preload).Member("rootPath", package.root_path).EndObject();
    }
    std::cout << json.EndArray().Text() << "\n";
    return kSuccess;
  }
  for (const auto& package : packages) {
    std::cout << text::Printable(package.id + " " + package.version) << "\n";
  }
  return kSuccess;
}

std::string Show(const inspect::Package& package) {
  const auto& record = package.record;
  std::string shown;
  const auto add = [&shown](const char* label, const std::string& value) {
    shown += label + text::Printable(value) + "\n";
  };
  add("", record.id + " " + record.version);
  add("  root path: ", record.root_path);
  add("  preloaded: ", record.preload ? "yes" : "no");
  for (const auto& privilege : record.privileges) add("  privilege: ", privilege);
  for (const auto& application : package.applications) {
    add("  application: ", application.record.id);
    add("    executable: ", application.record.executable);
    for (const auto& [key, value] : application.record.metadata) {
      add("    metadata: ", key + " = " + value);
    }
    for (const auto& type : application.request_types) add("    request type: ", type);
    if (application.is_handler) {
      add("    priority: ", std::to_string(application.priority.Value()) + " (" +
                                application.priority.Reason() + ")");
    }
    for (const auto& problem : application.Problems()) {
      add("    problem: ", inspect::ToText(problem));
    }
  }
  return shown;
}

std::string ShowAsJson(const inspect::Package& package) {
  const auto& record = package.record;
  json::ValueWriter json;
  json.BeginObject().Member("package", record.id).Member("version", record.version);
  json.Member("rootPath", record.root_path).Member("preloaded", record.preload);
  WriteTexts(json.Key("privileges"), record.privileges);
  json.Key("applications").BeginArray();
  for (const auto& application : package.applications) {
    json.BeginObject().Member("appId", application.record.id);
    json.Member("executable", application.record.executable).Key("metadata").BeginArray();
    for (const auto& [key, value] : application.record.metadata) {
      json.BeginObject().Member("key", key).Member("value", value).EndObject();
    }
    WriteTexts(json.EndArray().Key("requestTypes"), application.request_types);
    if (application.is_handler) json.Member("priority", application.priority.Value());
    WriteFindings(json.Key("problems"), application.Problems());
    json.EndObject();
  }
  return json.EndArray().EndObject().Text() + "\n";
}

int ShowOne(const Options& options) {
  const auto record = platform::FindPackage(options.argument);
  if (!record) ThrowNotInstalled(options.argument);
  const auto package = inspect::InspectPackage(*record, record->root_path);
  std::cout << (options.json ? ShowAsJson(package) : Show(package));
  return kSuccess;
}

}  // namespace

void AddPackageCommand(CLI::App& app, SelectedCommand& selected) {
  CLI::App* package = app.add_subcommand("package", "install, uninstall and inspect packages");
  package->require_subcommand(1);
  package->footer(
      "Example:\n"
      "  qor package install build/packages/text");
  const auto add = [package, &selected](const char* name, const char* description,
                                        const char* example, int (*run)(const Options&)) {
    CLI::App* command = package->add_subcommand(name, description);
    command->footer(std::string("Example:\n  qor package ") + example);
    command->add_flag("--json", selected.json, "print JSON");
    const auto argument = std::make_shared<std::string>();
    command->callback([argument, run, &selected] {
      selected.run = [argument, run, &selected] { return run({*argument, selected.json}); };
    });
    return std::make_pair(command, argument);
  };
  const auto add_with = [&add](const char* positional, const char* positional_description,
                               auto... description) {
    const auto [command, argument] = add(description...);
    command->add_option(positional, *argument, positional_description)->required();
  };
  add_with("PATH", "package folder or .tpk file", "install", "install or update a package",
           "install build/packages/text", Install);
  add_with("PATH", "package folder or .tpk file", "update", "update an installed package",
           "update build/packages/text-2", Update);
  add_with("ID", "package id", "uninstall", "uninstall a package", "uninstall org.example.text",
           Uninstall);
  add("list", "list the installed packages", "list --json", List);
  add_with("ID", "package id", "show", "show the contents of a package and its problems",
           "show org.example.text", ShowOne);
}

}  // namespace tools::cli
