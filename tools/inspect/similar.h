// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_SIMILAR_H_
#define QOR_TOOLS_INSPECT_SIMILAR_H_

#include <string>

namespace tools::inspect {

// Whether `text` is not `expected` but may well have been meant to be: they differ only in case and
// separators, or by one letter, by two where the text is long.
bool IsNearMiss(const std::string& text, const std::string& expected);

}  // namespace tools::inspect

#endif
