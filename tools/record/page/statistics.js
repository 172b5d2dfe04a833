// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The smallest value that is not below the given part of the values.
function percentile(sorted, part) {
  return sorted[Math.max(Math.ceil(sorted.length * part) - 1, 0)];
}

// Sorted by the member.
function groupBy(commands, member) {
  const groups = new Map();
  for (const command of commands) {
    if (!groups.has(command[member])) groups.set(command[member], []);
    groups.get(command[member]).push(command);
  }
  return new Map([...groups].sort(([a], [b]) => compare(a, b)));
}

function failuresOf(commands) {
  return commands.filter(({ outcome }) => FAILURES.has(outcome)).length;
}

function rowOfType(type, commands) {
  const times = commands.filter(({ answer }) => answer).map(durationOf).sort((a, b) => a - b);
  const show = (part) => (times.length > 0 ? formatDuration(percentile(times, part)) : "–");
  return [type || "unknown", commands.length, failuresOf(commands), show(0.5), show(0.99)];
}

function rowOfHandler({ id, connections, exits }, commands) {
  const name = element("span", {}, id || "no handler");
  if (exits.length > 0) name.append(element("small", {}, `last exit: ${exits.at(-1).text}`));
  return [name, commands.length, failuresOf(commands), connections.length, exits.length];
}

function fillTable(id, rows) {
  document.getElementById(id).replaceChildren(...rows.map(([name, ...values]) => element("tr", {},
    element("th", { scope: "row" }, name), ...values.map((value) => element("td", {}, value)))));
}

function showStatistics(record, commands) {
  fillTable("types", [...groupBy(commands, "type")].map(([type, own]) => rowOfType(type, own)));
  const byHandler = groupBy(commands, "handler");
  const handlers = byHandler.has("") ? [...record.handlers, { id: "", connections: [], exits: [] }] : record.handlers;
  fillTable("handlers", handlers.map((handler) => rowOfHandler(handler, byHandler.get(handler.id) ?? [])));
}
