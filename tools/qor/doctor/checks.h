// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_DOCTOR_CHECKS_H_
#define QOR_TOOLS_QOR_DOCTOR_CHECKS_H_

#include "check/check.h"

namespace tools::cli {

using check::Check;
using check::Checks;

// Each adds its findings about the platform's root folder to `checks`.

// Checks that the root folder exists and is private to this user. Returns false when it cannot be
// read, so that further checks are useless.
bool CheckRoot(Checks& checks);
// Finds unused sockets and lock files; removes them when `fix` is set.
void CheckSockets(bool fix, Checks& checks);
// Lists the processes that own a port "CommandHandler".
void CheckAgents(Checks& checks);
// Compares the package database with the folders.
void CheckPackages(Checks& checks);
// Checks the declarations of installed handlers.
void CheckHandlers(Checks& checks);

}  // namespace tools::cli

#endif
