// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_BARE_HANDLER_H_
#define TESTS_SUPPORT_BARE_HANDLER_H_

#include <functional>
#include <string>

namespace support {

// Runs a handler application that has of the SDK only what `on_wanted` uses. It is called on the
// main loop's thread for each launch request, with the application id of the agent that sent it.
// Returns what the process is to end with.
int RunBareHandler(int argc, char** argv, std::function<void(const std::string& agent)> on_wanted);

}  // namespace support

#endif
