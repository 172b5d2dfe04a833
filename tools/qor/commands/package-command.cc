// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_manager.h>
#include <CLI/CLI.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "check/package-checks.h"
#include "inspect/package-file.h"
#include "inspect/package.h"
#include "platform/linux/common/package-database.h"
#include "qor/commands/commands.h"
#include "qor/commands/identity.h"
#include "qor/output/finding-json.h"
#include "qor/output/tool-error.h"
#include "qor/pack/package-archive.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

struct Options {
  std::string argument;
  std::string output;
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

void Print(const std::string& package, const char* outcome, bool as_json) {
  if (as_json) {
    json::ValueWriter json;
    json.BeginObject().Member("package", package);
    std::cout << json.Member("outcome", outcome).EndObject().Text() << "\n";
  } else {
    std::cout << text::Printable(package) << ": " << outcome << "\n";
  }
}

void RequireFile(const std::string& path) {
  if (!fs::exists(path)) {
    throw ToolError(kError, "no such file or folder", "pass a package folder or a .tpk file",
                    {path});
  }
}

bool IsOlder(const std::string& version, const std::string& than) {
  const auto numbers = [](const std::string& text) {
    std::array<int, 3> parts{};
    std::sscanf(text.c_str(), "%d.%d.%d", &parts[0], &parts[1], &parts[2]);
    return parts;
  };
  return numbers(version) < numbers(than);
}

int Install(const Options& options) {
  RequireFile(options.argument);
  // Reports why the root folder cannot be written; the request's error would not say.
  MakeRootFolder();
  std::map<std::string, std::string> versions;  // by package id, before
  for (const auto& package : platform::AllPackages()) versions[package.id] = package.version;
  const Request request;
  const std::string path = fs::absolute(options.argument);
  const int error = package_manager_request_install(request.Get(), path.c_str(), nullptr);
  if (error == PACKAGE_MANAGER_ERROR_INVALID_PARAMETER) {
    if (const auto reason = inspect::RejectionOf(options.argument))
      throw ToolError(kError, *reason);
  }
  if (error != PACKAGE_MANAGER_ERROR_NONE) {
    throw ToolError(kError, std::string("cannot install the package: ") + get_error_message(error),
                    "run \"qor doctor\"", {options.argument});
  }
  const auto installed = platform::FindPackage(request.Package());
  const auto before = versions.find(request.Package());
  const bool is_downgrade =
      installed && before != versions.end() && IsOlder(installed->version, before->second);
  Print(request.Package(), is_downgrade ? "downgraded" : request.Outcome(), options.json);
  return kSuccess;
}

std::unique_ptr<const inspect::PackageFile> Read(const std::string& path) {
  RequireFile(path);
  try {
    return std::make_unique<inspect::PackageFile>(path);
  } catch (const platform::InvalidPackageError& error) {
    throw ToolError(kError, inspect::FindingOf(error));
  }
}

int Update(const Options& options) {
  const std::string id = Read(options.argument)->Contents().record.id;
  if (!platform::FindPackage(id)) {
    throw ToolError(kError, "cannot update " + id + ": package is not installed",
                    "use \"qor package install\"");
  }
  return Install(options);
}

void RequireNoFailedCheck(const inspect::Package& package, const std::string& path) {
  check::CheckContents(package, path, [](const check::Check& check) {
    if (check.level == check::Check::Level::kFail)
      throw ToolError(kError, check.message, check.hint, check.location);
  });
}

// Returns the path of the archive of a package folder.
std::string ArchiveOf(const platform::PackageRecord& package, const Options& options) {
  const std::string file =
      options.output.empty() ? package.id + "-" + package.version + ".tpk" : options.output;
  const fs::path from_package =
      fs::weakly_canonical(fs::absolute(file)).lexically_relative(fs::canonical(options.argument));
  if (*from_package.begin() != "..")
    throw ToolError(kError, "is inside the package folder", "write it to another folder with -o",
                    {file});
  return file;
}

std::string ShowArchive(const std::string& archive, const std::vector<PackedFile>& files,
                        const inspect::Package& package) {
  std::string shown =
      text::Printable(archive + ": " + package.record.id + " " + package.record.version) + "\n";
  for (const auto& application : package.applications) {
    shown += "  application: " + application.record.id + "\n";
    for (const auto& type : application.request_types)
      shown += "    request type: " + text::Printable(type) + "\n";
  }
  for (const auto& file : files) {
    shown +=
        "  file: " + text::Printable(file.path) + ", " + std::to_string(file.bytes) + " bytes\n";
  }
  return shown;
}

std::string ShowArchiveAsJson(const std::string& archive, const std::vector<PackedFile>& files,
                              const inspect::Package& package) {
  json::ValueWriter json;
  json.BeginObject()
      .Member("archive", archive)
      .Member("bytes", static_cast<std::int64_t>(fs::file_size(archive)));
  json.Member("package", package.record.id).Member("version", package.record.version);
  json.Key("applications").BeginArray();
  for (const auto& application : package.applications) {
    json.BeginObject().Member("appId", application.record.id);
    WriteTexts(json.Key("requestTypes"), application.request_types);
    json.EndObject();
  }
  json.EndArray().Key("files").BeginArray();
  for (const auto& file : files) {
    json.BeginObject().Member("path", file.path).Member("bytes", file.bytes).EndObject();
  }
  return json.EndArray().EndObject().Text() + "\n";
}

int Pack(const Options& options) {
  const auto file = Read(options.argument);
  const inspect::Package& package = file->Contents();
  if (!fs::is_directory(options.argument))
    throw ToolError(kError, "not a folder", "pass the folder with the manifest",
                    {options.argument});
  RequireNoFailedCheck(package, options.argument);
  const std::string archive = ArchiveOf(package.record, options);
  // The copy that was checked.
  const auto files = WriteArchive(package.record.root_path, archive);
  std::cout << (options.json ? ShowArchiveAsJson(archive, files, package)
                             : ShowArchive(archive, files, package));
  return kSuccess;
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
  Print(request.Package(), request.Outcome(), options.json);
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
  CLI::App* package =
      app.add_subcommand("package", "pack, install, uninstall and inspect packages");
  package->require_subcommand(1);
  package->footer(
      "Example:\n"
      "  qor package install build/packages/text");
  const auto add = [package, &selected](const char* name, const char* description,
                                        const char* example, int (*run)(const Options&)) {
    CLI::App* command = package->add_subcommand(name, description);
    command->footer(std::string("Example:\n  qor package ") + example);
    command->add_flag("--json", selected.json, "print JSON");
    const auto options = std::make_shared<Options>();
    command->callback([options, run, &selected] {
      selected.run = [options, run, &selected] {
        options->json = selected.json;
        return run(*options);
      };
    });
    return std::make_pair(command, options);
  };
  const auto add_with = [&add](const char* positional, const char* positional_description,
                               auto... description) {
    const auto [command, options] = add(description...);
    command->add_option(positional, options->argument, positional_description)->required();
    return std::make_pair(command, options);
  };
  const auto [pack, options] = add_with("FOLDER", "package folder", "pack",
                                        "check a package folder and write it to a .tpk file",
                                        "pack build/packages/text", Pack);
  pack->add_option("-o,--output", options->output, "output file (default: ID-VERSION.tpk)");
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
