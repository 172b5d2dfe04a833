// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_PORT_INTERPOSER_H_
#define TESTS_CHAOS_PORT_INTERPOSER_H_

#include <functional>

namespace chaos {

// Tells when the library asks for the callback port of a connection and there is none: the peer was
// gone as soon as it had connected, and the library takes it for nobody.
void SetMissingPortCallback(std::function<void()> on_missing);

}  // namespace chaos

#endif
