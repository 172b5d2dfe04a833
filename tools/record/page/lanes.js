// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The end of a command, or the time of its last late result.
function lastTimeOf(command) {
  return command.lateAnswers.reduce((last, answer) => Math.max(last, answer.time), command.end);
}

// Packs commands, sorted by begin, into the smallest number of rows without overlaps.
function packRows(commands) {
  const rows = [];
  for (const command of commands) {
    let row = rows.find((candidate) => candidate.end <= command.begin);
    if (!row) rows.push(row = { commands: [] });
    row.commands.push(command);
    row.end = lastTimeOf(command) + 1;
  }
  return rows.map((row) => row.commands);
}

// One lane per handler, and one for commands that were not routed.
function makeLanes(record, commands) {
  const handlers = [...record.handlers];
  if (record.commands.some((command) => command.handler === "")) {
    handlers.push({ id: "", connections: [] });
  }
  return handlers.map((handler) => ({
    name: handler.id || "no handler",
    connections: handler.connections,
    rows: packRows(commands.filter((command) => command.handler === handler.id)),
  }));
}

// Binary search for the first command of a row that ends at or after a time.
function firstVisible(row, time) {
  let low = 0;
  let high = row.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (lastTimeOf(row[middle]) < time) low = middle + 1;
    else high = middle;
  }
  return low;
}
