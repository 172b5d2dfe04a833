// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/manifest-lines.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <pugixml.hpp>

namespace tools::inspect {

ManifestLines::ManifestLines(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  pugi::xml_document document;
  if (!document.load_buffer(text.data(), text.size(), pugi::parse_default, pugi::encoding_utf8)) {
    return;
  }
  const auto line_of = [&text](const pugi::xml_node& node) {
    const auto end = text.begin() + std::max<std::ptrdiff_t>(node.offset_debug(), 0);
    return 1 + static_cast<int>(std::count(text.begin(), end, '\n'));
  };
  const pugi::xml_node root = document.document_element();
  root_ = line_of(root);
  namespace_ = root.attribute("xmlns").value();
  privileges_ = line_of(root.child("privileges") ? root.child("privileges") : root);
  for (const pugi::xml_node& element : root.children()) {
    const std::string app_id = element.attribute("appid").value();
    if (app_id.empty()) continue;
    Application& application = applications_[app_id];
    application.line = line_of(element);
    for (const pugi::xml_node& pair : element.children("metadata")) {
      application.metadata.push_back(line_of(pair));
    }
  }
}

int ManifestLines::OfApplication(const std::string& app_id) const {
  const auto found = applications_.find(app_id);
  return found != applications_.end() ? found->second.line : 0;
}

int ManifestLines::OfMetadata(const std::string& app_id, std::size_t index) const {
  const auto found = applications_.find(app_id);
  if (found == applications_.end() || index >= found->second.metadata.size()) return 0;
  return found->second.metadata[index];
}

}  // namespace tools::inspect
