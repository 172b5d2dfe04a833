// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_FIGURES_FIGURES_H_
#define QOR_BENCH_FIGURES_FIGURES_H_

#include "report.h"

// What is measured; each adds its groups to the report, with the goals that stand in its source.

namespace bench {

// One command at a time and 64 at a time, beside a bare socket and D-Bus.
void MeasureRoundTrips(Report& report);

// Sends and results beside 10,000 commands that wait at the same handler, and what one of those
// costs.
void MeasurePending(Report& report);

// Commands of an agent with 1,000 connected handlers, and what a connection costs it.
void MeasureConnected(Report& report);

// Commands to one handler while another does what none should, and the main loop's longest turn.
void MeasureHostile(Report& report);
// Part of it: how long the agent reads a package that was made to take long.
void MeasureHostilePackages(Report& report);

// The library's start among 10,000 installed packages, and what a registered handler costs.
void MeasureStart(Report& report);

// An installed, updated or removed package among 1,000 registered handlers.
void MeasurePackageEvent(Report& report);

// A command to a handler that does not run yet.
void MeasureLaunch(Report& report);

// What an idle agent costs; the library's file.
void MeasureMemory(Report& report);

// How much of what an agent's command takes is the library's own, above the platform.
void MeasureShare(Report& report);

}  // namespace bench

#endif
