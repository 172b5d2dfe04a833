// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_INTERRUPTED_OPERATION_TEST_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_INTERRUPTED_OPERATION_TEST_H_

#include <functional>
#include <string>
#include <vector>

#include "platform/linux/tests/support/platform-test.h"

namespace platform::test {

// An operation on one package that is disturbed at each of its steps in turn.
class InterruptedOperationTest : public PlatformTest {
 protected:
  struct Operation {
    // "install" and a source folder, or "uninstall" and a package's id.
    std::string word;
    std::string argument;
    // Of the package, "" for none.
    std::string old_version;
    std::string new_version;
  };

  InterruptedOperationTest();

  Operation FirstInstall() const { return {"install", Source("1.0.0"), "", "1.0.0"}; }
  Operation Update() const { return {"install", Source("2.0.0"), "1.0.0", "2.0.0"}; }
  static Operation Removal() { return {"uninstall", "org.test.p", "1.0.0", ""}; }

  // In this process; the request's result.
  static int Run(const Operation& operation);

  // The version that is installed, "" for none; all of it must be there.
  static std::string InstalledVersion();

  // Disturbs the operation at step 1, 2, 3 ..., each time in its old state, until `disturb` says
  // that it came to its end before that step. After each: the old state or the new one, nothing
  // left over once another request has run, and the operation does its work. Each of the two
  // states was seen in the end.
  void InterruptAtEveryStep(const Operation& operation,
                            const std::function<bool(int step)>& disturb);

 private:
  std::string Source(const std::string& version) const { return Folder() + "/source-" + version; }
  void Prepare(const Operation& operation, int step);
  void ExpectNoLeftoversAfterTheNextRequest(const Operation& operation);
  void ExpectOnlyKnownNames() const;
};

}  // namespace platform::test

#endif
