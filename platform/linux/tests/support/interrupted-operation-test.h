// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_INTERRUPTED_OPERATION_TEST_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_INTERRUPTED_OPERATION_TEST_H_

#include <functional>
#include <string>
#include <vector>

#include "platform/linux/tests/support/platform-test.h"

namespace platform::test {

// Tests of the atomicity of operations on one package: interrupts an operation at each of its steps
// in turn.
class InterruptedOperationTest : public PlatformTest {
 protected:
  struct Operation {
    // "install" with a source folder, or "uninstall" with a package id.
    std::string command;
    std::string argument;
    // Versions of the package before and after, "" for none.
    std::string old_version;
    std::string new_version;
  };

  InterruptedOperationTest();

  Operation FirstInstall() const { return {"install", Source("1.0.0"), "", "1.0.0"}; }
  Operation Update() const { return {"install", Source("2.0.0"), "1.0.0", "2.0.0"}; }
  static Operation Removal() { return {"uninstall", "org.test.p", "1.0.0", ""}; }

  // Runs the operation in this process. Returns the request's result.
  static int Run(const Operation& operation);

  // Returns the installed version, "" for none. Its files must be complete.
  static std::string InstalledVersion();

  // Calls `interrupt` for step 1, 2, 3 ..., each time with the old version installed, until it
  // returns false because the operation has finished before that step. After each step, checks that
  // the old or the new version is installed, that another request removes everything else, and that
  // the operation succeeds when repeated. Both versions must have occurred.
  void InterruptAtEveryStep(const Operation& operation,
                            const std::function<bool(int step)>& interrupt);

 private:
  std::string Source(const std::string& version) const { return Folder() + "/source-" + version; }
  void Prepare(const Operation& operation, int step);
  void ExpectCleanAfterNextRequest(const Operation& operation);
  void ExpectNoUnknownFiles() const;
};

}  // namespace platform::test

#endif
