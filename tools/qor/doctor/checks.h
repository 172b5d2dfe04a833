// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_DOCTOR_CHECKS_H_
#define QOR_TOOLS_QOR_DOCTOR_CHECKS_H_

#include "check/check.h"

namespace tools::cli {

using check::Check;
using check::Checks;

// Each adds what it finds below the platform's root folder.

// Whether the root folder is there, ours and private. Returns false when nothing else can be looked
// at.
bool CheckRoot(Checks& checks);
// Sockets and lock files that nobody uses; removed when `fix` is set.
void CheckSockets(bool fix, Checks& checks);
// The processes that own the port "CommandHandler", each under the identity that it has.
void CheckAgents(Checks& checks);
// The package database, and whether it agrees with the folders.
void CheckPackages(Checks& checks);
// What the handlers among the installed applications declare.
void CheckHandlers(Checks& checks);

}  // namespace tools::cli

#endif
