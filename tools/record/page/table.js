// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Limits the time of one layout.
const ROWS_AT_ONCE = 1000;

// The commands of the timeline as a table, also for screen readers.
class Table {
  constructor(onSelect) {
    this.body = document.getElementById("rows");
    this.button = document.getElementById("more");
    this.titles = [...document.querySelectorAll("#table th")].map((title) => title.textContent);
    this.onSelect = onSelect;
    this.rows = new Map();
    this.button.addEventListener("click", () => this.showMore());
  }

  show(commands) {
    this.waiting = commands;
    this.body.replaceChildren();
    this.showMore();
    document.getElementById("none").hidden = commands.length > 0;
  }

  select(command) {
    this.rows.get(this.selected)?.removeAttribute("aria-current");
    this.selected = command;
    this.rowOf(command).setAttribute("aria-current", "true");
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

  makeRow(command) {
    const inPhase = (name) => {
      const segment = command.segments.find(({ phase }) => phase === name);
      return segment ? formatDuration(segment.end - segment.begin) : "";
    };
    const late = command.lateAnswers.length > 0 && command.outcome !== "unsolicited" ? " + late result" : "";
    const cells = [
      formatDuration(command.begin),
      element("button", { type: "button" }, command.uuid),
      command.type,
      command.handler,
      outcomeElement(command),
      formatDuration(durationOf(command)),
      inPhase("connecting"),
      inPhase("waiting"),
      inPhase("executing"),
    ].map((content, i) => element("td", { "data-label": this.titles[i] }, content));
    cells[4].append(late);
    const row = element("tr", {}, ...cells);
    row.addEventListener("click", () => this.onSelect(command));
    return row;
  }
}
