// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "check/temporary-root.h"

#include <package_manager.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <stdexcept>

#include "platform/linux/common/package-database.h"
#include "platform/linux/package-manager/file-system.h"

namespace tools::check {

namespace {

namespace fs = std::filesystem;

class Request {
 public:
  Request() {
    if (package_manager_request_create(&handle_) != PACKAGE_MANAGER_ERROR_NONE) {
      throw std::runtime_error("cannot create a package manager request");
    }
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  ~Request() { package_manager_request_destroy(handle_); }
  package_manager_request_h Get() const { return handle_; }

 private:
  package_manager_request_h handle_ = nullptr;
};

}  // namespace

TemporaryRoot::TemporaryRoot() {
  folder_ = fs::temp_directory_path() / "qor-check-XXXXXX";
  if (mkdtemp(folder_.data()) == nullptr) throw platform::FileError(folder_);
  folder_ = fs::canonical(folder_);
  setenv("QOR_PLATFORM_ROOT", folder_.c_str(), 1);
}

TemporaryRoot::~TemporaryRoot() {
  const auto report_errors_of = [this](const std::function<void()>& action) {
    try {
      action();
    } catch (const std::exception& error) {
      std::cerr << "qor: cannot remove " << folder_ << ": " << error.what() << "\n";
    }
  };
  report_errors_of([] {
    const Request request;
    for (const auto& package : platform::AllPackages()) {
      package_manager_request_uninstall(request.Get(), package.id.c_str(), nullptr);
    }
  });
  report_errors_of([this] { platform::RemoveTree(folder_); });
}

void Install(const std::string& path) {
  const Request request;
  const int error =
      package_manager_request_install(request.Get(), fs::absolute(path).c_str(), nullptr);
  if (error != PACKAGE_MANAGER_ERROR_NONE) {
    throw std::runtime_error("cannot install " + path + ": " + get_error_message(error));
  }
}

}  // namespace tools::check
