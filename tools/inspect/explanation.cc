// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/explanation.h"

#include <algorithm>

#include "inspect/config-file.h"
#include "inspect/similar.h"

namespace tools::inspect {

namespace {

void Exclude(const Application& application, const std::string& type, Explanation& explanation) {
  for (const Finding& error : application.errors) {
    explanation.excluded.push_back({application, error});
  }
  for (const std::string& declared : application.request_types) {
    if (!IsNearMiss(declared, type)) continue;
    const int line = LineOfRequestType(application.config_file, declared);
    explanation.excluded.push_back({application,
                                    {"declares \"" + declared + "\", not \"" + type + "\"",
                                     "write \"" + type + "\" if that was intended",
                                     {application.config_file, line, "request-types"}}});
  }
}

}  // namespace

Explanation Explain(const std::vector<Package>& packages, const std::string& type) {
  Explanation explanation;
  for (const Package& package : packages) {
    for (const Application& application : package.applications) {
      if (application.request_types.count(type) != 0) {
        explanation.candidates.push_back(application);
      } else {
        Exclude(application, type, explanation);
      }
    }
  }
  std::sort(explanation.candidates.begin(), explanation.candidates.end(),
            [](const Application& a, const Application& b) {
              return handlers::PreferenceKey(a.priority.Value(), a.record.id) <
                     handlers::PreferenceKey(b.priority.Value(), b.record.id);
            });
  return explanation;
}

}  // namespace tools::inspect
