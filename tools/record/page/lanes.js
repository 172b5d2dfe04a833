// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// When the last thing that belongs to a command is over; a late result comes after its end.
function lastTimeOf(command) {
  return command.lateAnswers.reduce((last, answer) => Math.max(last, answer.time), command.end);
}

// Puts commands, in the order of their beginnings, into as few rows as keep them apart.
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

// A lane for each handler that has commands or connections, one for commands that none got.
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

// The first of the commands of a row that can be seen at or after a time: they stand one after the
// other.
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
