// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_IDENTITY_H_
#define QOR_TOOLS_QOR_COMMANDS_IDENTITY_H_

namespace tools::cli {

// Makes the platform's root folder unless it exists, and then names it on standard error: a
// mistyped or relative QOR_PLATFORM_ROOT shows. Throws std::system_error as platform::RootFolder().
void MakeRootFolder();

// Gives this process the first unused identity of host.qor, host.qor-2, host.qor-3 and so on, with
// its own port and data folder, so that several tools can run as agents at the same time. Commands
// that act as an agent must call it first. The platform reads the identity from a process's initial
// environment, so this process executes itself again; the second call returns. Throws ToolError.
void TakeIdentity();

}  // namespace tools::cli

#endif
