// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_INSPECT_SCRATCH_H_
#define QOR_TESTS_INSPECT_SCRATCH_H_

#include <gtest/gtest.h>

#include <string>

#include "inspect/package.h"

namespace tools::inspect {

// A fixture with a temporary folder that is also the platform root.
class ScratchTest : public testing::Test {
 protected:
  ScratchTest();
  ~ScratchTest() override;

  const std::string& Folder() const { return folder_; }

  // Writes a file and its parent folders below the folder. Returns its path.
  std::string Write(const std::string& relative_path, const std::string& text,
                    bool executable = false) const;

 private:
  std::string folder_;
};

}  // namespace tools::inspect

#endif
