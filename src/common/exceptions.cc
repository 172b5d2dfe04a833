// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "common/exceptions.h"

#include <filesystem>

QorCommonException::QorCommonException(const char* file, int line, std::string_view message)
    : message_(message) {
  locations_.push_back(std::filesystem::path(file).filename().string() + ":" +
                       std::to_string(line));
}
