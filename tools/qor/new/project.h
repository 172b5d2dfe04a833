// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_NEW_PROJECT_H_
#define QOR_TOOLS_QOR_NEW_PROJECT_H_

#include <string>
#include <vector>

namespace tools::cli {

// A project that builds a handler package, from the files in the folder `template`.
struct Project {
  std::string package;             // a package id, and the name of the project's folder
  std::vector<std::string> types;  // the request types that the handler serves

  std::string ApplicationId() const { return package + ".handler"; }
};

// Creates the project's folder in the current one, completely or not at all. Returns its files.
// Throws ToolError for an id or request type that is not valid and for a folder that exists,
// std::system_error for I/O errors.
std::vector<std::string> Create(const Project& project);

}  // namespace tools::cli

#endif
