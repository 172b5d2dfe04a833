// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_IDENTITY_H_
#define QOR_TOOLS_QOR_COMMANDS_IDENTITY_H_

namespace tools::cli {

// To be called before anything else by a command that acts as an agent, so that several of them can
// run at the same time: gives this process the first of the identities host.qor, host.qor-2,
// host.qor-3 and so on that no running tool has, with the port and the data folder that go with it.
// A process is known by what it was started with, so this one executes itself again; the second
// time the function just returns. Throws ToolError.
void TakeIdentity();

}  // namespace tools::cli

#endif
