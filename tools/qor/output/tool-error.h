// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_TOOL_ERROR_H_
#define QOR_TOOLS_QOR_OUTPUT_TOOL_ERROR_H_

#include <stdexcept>
#include <string>
#include <utility>

#include "inspect/finding.h"
#include "qor/output/exit-codes.h"

namespace tools::cli {

using inspect::Location;

// Ends the tool with an exit status.
class ToolError : public std::runtime_error {
 public:
  ToolError(ExitCode code, const std::string& message, std::string hint = "",
            Location location = {})
      : ToolError(code, inspect::Finding{message, std::move(hint), std::move(location)}) {}

  ToolError(ExitCode code, inspect::Finding finding)
      : std::runtime_error(finding.message), code_(code), finding_(std::move(finding)) {}

  ExitCode Code() const { return code_; }
  const inspect::Finding& Finding() const { return finding_; }

 private:
  ExitCode code_;
  inspect::Finding finding_;
};

// "qor: <file>:<line>: <key>: <message>" and, on a line of its own, "  <hint>"; without parts that
// are not known.
std::string ToText(const ToolError& error);
// {"error":{"message":...,"file":...,"line":...,"key":...,"hint":...,"exitCode":...}}, without
// members that are not known.
std::string ToJson(const ToolError& error);

}  // namespace tools::cli

#endif
