// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_ONE_HANDLER_TEST_H_
#define TESTS_SUPPORT_ONE_HANDLER_TEST_H_

#include <string>
#include <vector>

#include "library-test.h"

namespace support {

// The library with a listening client and one installed handler, "h", of the request type "type".
class OneHandlerTest : public LibraryTest {
 protected:
  void SetUp() override;

  void SendAll(const std::vector<std::string>& uuids);
  // A connection of the handler that has asked for its commands.
  static HandlerPeer ConnectAndFetch();
  // When the live timers fire, in seconds, in the order of their creation.
  static std::vector<double> DueTimes();
};

}  // namespace support

#endif
