// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_manager.h>
#include <CLI/CLI.hpp>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "commands.h"
#include "exit-codes.h"

namespace qor {

namespace {

std::string Text(int (*getter)(package_info_h, char**), package_info_h package) {
  char* text = nullptr;
  if (getter(package, &text) != PACKAGE_MANAGER_ERROR_NONE) return "?";
  const std::unique_ptr<char, decltype(&std::free)> owned(text, std::free);
  return text;
}

class Request {
 public:
  Request() {
    if (package_manager_request_create(&handle_) != PACKAGE_MANAGER_ERROR_NONE) {
      throw std::runtime_error("the package manager does not take requests");
    }
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  ~Request() { package_manager_request_destroy(handle_); }

  package_manager_request_h Get() const { return handle_; }

 private:
  package_manager_request_h handle_ = nullptr;
};

// The package manager logs the cause itself.
int Report(int error, const std::string& what, const std::string& package) {
  if (error == PACKAGE_MANAGER_ERROR_NONE) {
    std::cout << package << ": " << what << "ed\n";
    return kSuccess;
  }
  std::cerr << "qor: cannot " << what << " " << package << ": " << get_error_message(error) << "\n";
  return kError;
}

int Install(const std::string& path) {
  const Request request;
  int id = 0;
  const std::string absolute = std::filesystem::absolute(path);
  return Report(package_manager_request_install(request.Get(), absolute.c_str(), &id), "install",
                path);
}

int Uninstall(const std::string& package) {
  const Request request;
  int id = 0;
  return Report(package_manager_request_uninstall(request.Get(), package.c_str(), &id), "uninstall",
                package);
}

int List() {
  const int error = package_manager_foreach_package_info(
      [](package_info_h package, void*) {
        std::cout << Text(package_info_get_package, package) << " "
                  << Text(package_info_get_version, package) << "\n";
        return true;
      },
      nullptr);
  if (error == PACKAGE_MANAGER_ERROR_NONE) return kSuccess;
  std::cerr << "qor: cannot list the packages: " << get_error_message(error) << "\n";
  return kError;
}

}  // namespace

void AddPackageCommand(CLI::App& app, Choice& choice) {
  CLI::App* package = app.add_subcommand("package", "Install, uninstall and list packages");
  package->require_subcommand(1);
  const auto argument = std::make_shared<std::string>();

  CLI::App* install =
      package->add_subcommand("install", "Install a package, or update it when it is installed");
  install->add_option("PATH", *argument, "Package folder or .tpk file")->required();
  install->callback(
      [argument, &choice] { choice.run = [argument] { return Install(*argument); }; });

  CLI::App* uninstall = package->add_subcommand("uninstall", "Uninstall a package");
  uninstall->add_option("ID", *argument, "Package id")->required();
  uninstall->callback(
      [argument, &choice] { choice.run = [argument] { return Uninstall(*argument); }; });

  package->add_subcommand("list", "List the installed packages")->callback([&choice] {
    choice.run = List;
  });
}

}  // namespace qor
