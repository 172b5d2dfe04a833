// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "tizen/resource-path.h"

#include <app_common.h>

#include "tizen/c-string.h"

namespace tizen {

namespace {

char* PathOf(Directory directory) {
  switch (directory) {
    case Directory::kData:
      return app_get_data_path();
  }
  set_last_result(TIZEN_ERROR_INVALID_PARAMETER);
  return nullptr;
}

}  // namespace

std::string GetResourcePath(Directory directory, const std::string& file_name) {
  // The platform's folder paths end in a slash.
  const CString folder(PathOf(directory));
  if (!folder) throw Exception("The application has no such folder", get_last_result());
  return folder.get() + file_name;
}

}  // namespace tizen
