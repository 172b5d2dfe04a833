// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_NAMES_H_
#define PLATFORM_LINUX_RPC_PORT_NAMES_H_

namespace platform::rpc {

// Both become file names. Null is neither. A leading dot is left to the platform's own files.

// At most 80 bytes: what a socket address holds beside the descriptor of its folder.
bool IsPortName(const char* name);

// At most 255 bytes.
bool IsAppId(const char* app_id);

}  // namespace platform::rpc

#endif
