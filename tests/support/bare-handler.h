// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_BARE_HANDLER_H_
#define TESTS_SUPPORT_BARE_HANDLER_H_

#include <functional>
#include <string>

namespace support {

// Runs a handler application without the SDK. `on_launch` is called on the main loop's thread for
// each launch request, with the application id of its sender. Returns the exit status of the
// process.
int RunBareHandler(int argc, char** argv, std::function<void(const std::string& agent)> on_launch);

}  // namespace support

#endif
