// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Limits the time of one layout.
const ROWS_AT_ONCE = 5000;
const MAX_CELL_LENGTH = 300;

const SENT_AT = { name: "sent", title: "Sent at", value: ({ begin }) => begin, show: ({ begin }) => [formatDuration(begin)] };
// The value by which a column is sorted is also shown, unless there is a `show`.
const COLUMNS = [
  { name: "uuid", title: "UUID", value: ({ uuid }) => uuid, show: uuidCell },
  SENT_AT,
  { name: "type", title: "Type", value: ({ type }) => type },
  { name: "handler", title: "Handler", value: ({ handler }) => handler },
  { name: "outcome", title: "Outcome", value: ({ outcome }) => outcome, show: ({ outcome }) => [outcomeElement(outcome)] },
  { name: "total", title: "Total", value: durationOf, show: (command) => [formatDuration(durationOf(command))] },
  { name: "reason", title: "Result or error", value: reasonOf },
  ...["connecting", "waiting", "executing"].map((name) => ({
    name,
    title: name[0].toUpperCase() + name.slice(1),
    value: (command) => durationOfPhase(command, name),
    show: (command) => [formatDuration(durationOfPhase(command, name))],
  })),
];

function uuidCell(command) {
  return [element("a", { href: command.link }, shortUuid(command.uuid)), copyButton(command.uuid)];
}

function textCell(text) {
  const shown = text.slice(0, MAX_CELL_LENGTH);
  return element("td", { title: shown }, shown);
}

// The commands of the timeline as a table, also for screen readers.
class Table {
  constructor(onSelect) {
    this.body = document.getElementById("rows");
    this.button = document.getElementById("more");
    this.onSelect = onSelect;
    this.rows = new Map();
    this.column = SENT_AT;
    this.sign = 1;
    this.button.addEventListener("click", () => this.showMore());
    this.body.addEventListener("keydown", (event) => this.onKey(event));
    this.titles = COLUMNS.map((column) => this.makeTitle(column));
    document.querySelector("#table thead tr").append(...this.titles);
  }

  makeTitle(column) {
    const button = element("button", { type: "button" }, column.title);
    button.addEventListener("click", () => this.sort(column));
    return element("th", { scope: "col", role: "columnheader", class: column.name }, button);
  }

  sort(column) {
    this.sign = column === this.column ? -this.sign : 1;
    this.column = column;
    this.show(this.commands);
  }

  show(commands) {
    this.commands = commands;
    const { value } = this.column;
    this.waiting = [...commands].sort((a, b) => this.sign * compare(value(a), value(b)));
    this.body.replaceChildren();
    this.showMore();
    this.titles.forEach((title, i) => {
      const direction = this.sign > 0 ? "ascending" : "descending";
      title.setAttribute("aria-sort", COLUMNS[i] === this.column ? direction : "none");
    });
    document.getElementById("none").hidden = commands.length > 0;
  }

  select(command) {
    this.rows.get(this.selected)?.removeAttribute("aria-current");
    this.selected = command;
    if (command) this.rowOf(command).setAttribute("aria-current", "true");
  }

  scrollTo(command) {
    while (this.waiting.includes(command)) this.showMore();
    this.rowOf(command).scrollIntoView({ block: "center" });
  }

  showMore() {
    this.body.append(...this.waiting.slice(0, ROWS_AT_ONCE).map((command) => this.rowOf(command)));
    this.waiting = this.waiting.slice(ROWS_AT_ONCE);
    this.button.hidden = this.waiting.length === 0;
    this.button.textContent = `Show more of the other ${this.waiting.length}`;
  }

  rowOf(command) {
    if (!this.rows.has(command)) this.rows.set(command, this.makeRow(command));
    return this.rows.get(command);
  }

  // Roles are explicit, because styles make the rows grids. Screen readers get the cells of rows near
  // the visible ones, and the labels of all.
  makeRow(command) {
    const { uuid, type, outcome } = command;
    const row = element("tr", { role: "row", "aria-label": `${uuid} ${type} ${outcome}` });
    for (const { name, value, show } of COLUMNS) {
      const cell = show ? element("td", {}, ...show(command)) : textCell(value(command));
      cell.className = name;
      cell.setAttribute("role", "cell");
      row.append(cell);
    }
    row.addEventListener("click", (event) => {
      if (!event.target.closest("button")) this.onSelect(command);
    });
    return row;
  }

  // Arrows move between the links of the rows.
  onKey(event) {
    const sibling = { ArrowUp: "previousElementSibling", ArrowDown: "nextElementSibling" }[event.key];
    const link = event.target.closest("tr")[sibling]?.querySelector("a");
    if (!link) return;
    event.preventDefault();
    link.focus();
  }
}
