// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_PORT_INTERPOSER_H_
#define TESTS_CHAOS_PORT_INTERPOSER_H_

#include <functional>

namespace chaos {

// Interposes rpc_port_stub_get_port(). The callback is called when the library finds no callback
// port for a new connection: the peer has disconnected right after connecting, so that the library
// does not register it. Null removes the callback.
void SetMissingPortCallback(std::function<void()> on_missing);

}  // namespace chaos

#endif
