// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_INSPECT_SIMILAR_H_
#define QOR_TOOLS_INSPECT_SIMILAR_H_

#include <string>

namespace tools::inspect {

// Returns whether `text` is probably a misspelling of `expected`: they differ only in case and
// separators, or by an edit distance of 1, or 2 for long texts.
bool IsNearMiss(const std::string& text, const std::string& expected);

// Returns the file in the folder whose name is probably meant by `name`: a similar one, or the only
// one. Empty when there is none.
std::string SimilarFile(const std::string& folder, const std::string& name);

}  // namespace tools::inspect

#endif
