// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_RESOURCE_PATH_H_
#define TIZEN_RESOURCE_PATH_H_

#include <string>

namespace tizen {

enum class Directory {
  // The application's private data folder.
  kData = 0,
};

// Returns the path of a file in one of the application's folders. The file may be missing. Throws
// tizen::Exception if the platform has no such folder.
std::string GetResourcePath(Directory directory, const std::string& file_name);

}  // namespace tizen

#endif
