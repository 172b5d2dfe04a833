// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_COMMANDS_H_
#define QOR_TOOLS_QOR_COMMANDS_H_

#include <functional>

namespace CLI {
class App;
}

namespace qor {

// Each adds its subcommand to the command line and, when it was chosen, stores what it does in
// `chosen`, which returns the exit status.
using Chosen = std::function<int()>;

void AddPackageCommand(CLI::App& app, Chosen& chosen);
void AddHandlersCommand(CLI::App& app, Chosen& chosen);
void AddSendCommand(CLI::App& app, Chosen& chosen);

}  // namespace qor

#endif
