// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_NEW_TEMPLATE_H_
#define QOR_TOOLS_QOR_NEW_TEMPLATE_H_

#include <string_view>
#include <vector>

namespace tools::cli {

// A file of the folder `template`, without the suffix ".in". The lines between "@for each type@"
// and "@end@" are for one request type.
struct TemplateFile {
  std::string_view path;
  std::string_view text;
};

extern const std::vector<TemplateFile> kTemplate;

}  // namespace tools::cli

#endif
