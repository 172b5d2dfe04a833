// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_MANIFEST_LINES_H_
#define QOR_TOOLS_INSPECT_MANIFEST_LINES_H_

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace tools::inspect {

// Line numbers of elements in a manifest that the platform has accepted. A line is 0 when the file
// can no longer be read.
class ManifestLines {
 public:
  explicit ManifestLines(const std::string& path);

  int OfApplication(const std::string& app_id) const;
  // `index` counts the application's metadata from 0.
  int OfMetadata(const std::string& app_id, std::size_t index) const;
  // The line of the list of privileges, or of the root element without one.
  int OfPrivileges() const { return privileges_; }
  int OfRoot() const { return root_; }
  // The XML namespace of the root element, or empty.
  const std::string& Namespace() const { return namespace_; }

 private:
  struct Application {
    int line = 0;
    std::vector<int> metadata;
  };

  std::map<std::string, Application> applications_;
  int privileges_ = 0;
  int root_ = 0;
  std::string namespace_;
};

}  // namespace tools::inspect

#endif
