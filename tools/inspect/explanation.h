// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_EXPLANATION_H_
#define QOR_TOOLS_INSPECT_EXPLANATION_H_

#include <string>
#include <vector>

#include "inspect/package.h"

namespace tools::inspect {

// Which handler serves a request type when the library starts, and why.
struct Explanation {
  struct Exclusion {
    Application application;
    Finding reason;
  };

  // In the library's order of preference, the serving handler first.
  std::vector<Application> candidates;
  // Applications that were probably meant to serve it, but do not.
  std::vector<Exclusion> excluded;
};

Explanation Explain(const std::vector<Package>& packages, const std::string& type);

}  // namespace tools::inspect

#endif
