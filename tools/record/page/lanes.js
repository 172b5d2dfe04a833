// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

const AXIS = 24;
const LANE_TITLE = 22;
const PROCESSES = 16;
const ROW = 20;
const LANE_GAP = 10;
// A lane with more rows is collapsed to this height.
const MAX_ROWS = 16;
const COLLAPSED = 96;
// The width of a mark for an exit, and of a mark with a number for several exits.
const MARK_WIDTH = 16;
const GROUP_WIDTH = 36;

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
    handlers.push({ id: "", connections: [], exits: [] });
  }
  return handlers.map((handler) => {
    const own = commands.filter((command) => command.handler === handler.id);
    return { handler, name: handler.id || "no handler", count: own.length, rows: packRows(own) };
  });
}

// Assigns positions to lanes, from top to bottom. Returns the height of all.
function layOut(lanes, expanded) {
  let top = AXIS;
  for (const lane of lanes) {
    const { connections, exits } = lane.handler;
    const rows = Math.max(lane.rows.length, 1);
    lane.isTall = rows > MAX_ROWS;
    lane.isCollapsed = lane.isTall && !expanded.has(lane.name);
    lane.rowHeight = lane.isCollapsed ? COLLAPSED / rows : ROW;
    lane.top = top;
    lane.rowsTop = top + LANE_TITLE + (connections.length + exits.length > 0 ? PROCESSES : 0);
    lane.bottom = lane.rowsTop + rows * lane.rowHeight;
    top = lane.bottom + LANE_GAP;
  }
  return top;
}

// Groups exits whose marks would overlap.
function groupExits(exits, view) {
  const groups = [];
  for (const exit of exits) {
    const x = view.xAt(exit.time);
    const group = groups.at(-1);
    if (group && x - group.x < (group.exits.length > 1 ? GROUP_WIDTH : MARK_WIDTH)) group.exits.push(exit);
    else groups.push({ x, exits: [exit] });
  }
  return groups;
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
