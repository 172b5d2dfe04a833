// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_ONE_HANDLER_TEST_H_
#define TESTS_SUPPORT_ONE_HANDLER_TEST_H_

#include <string>
#include <vector>

#include "library-test.h"

namespace support {

// The library with a client and one installed handler, "h", of the request type "type".
class OneHandlerTest : public LibraryTest {
 protected:
  void SetUp() override;

  void SendAll(const std::vector<std::string>& uuids);
  // Connects the handler and fetches its commands.
  static HandlerPeer ConnectAndFetch();
  // Returns the due times of the running timers in seconds, in the order of creation.
  static std::vector<double> DueTimes();
};

}  // namespace support

#endif
