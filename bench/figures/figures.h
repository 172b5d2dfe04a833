// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_FIGURES_FIGURES_H_
#define QOR_BENCH_FIGURES_FIGURES_H_

#include "report.h"

// The measured parts. Each function adds its groups to the report; the goals are in its source.

namespace bench {

// One command at a time and 64 in flight, compared with a bare socket and D-Bus.
void MeasureRoundTrips(Report& report);

// Commands to a handler with 10,000 pending commands, and the memory of a pending command.
void MeasurePending(Report& report);

// Commands of an agent with 1,000 connected handlers, and the memory of a connection.
void MeasureConnected(Report& report);

// Commands to one handler while another attacks the agent, and the longest main-loop iteration.
void MeasureHostile(Report& report);
// Part of it: how long a crafted package keeps the agent busy.
void MeasureHostilePackages(Report& report);

// The library's start with 10,000 installed packages, and the memory of a registered handler.
void MeasureStart(Report& report);

// Install, update and uninstall of a package with 1,000 registered handlers.
void MeasurePackageEvent(Report& report);

// A command to a handler that is not running.
void MeasureLaunch(Report& report);

// The memory of an idle agent and the size of the library's file.
void MeasureMemory(Report& report);

// Commands of the library for durable commands, with and without a journal, and at-most-once
// commands of a handler, compared with the disk.
void MeasureDurable(Report& report);

// The library's share of the instructions of a command in the agent.
void MeasureShare(Report& report);

}  // namespace bench

#endif
