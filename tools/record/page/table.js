// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The same commands as the timeline, for those who would rather read.
class Table {
  constructor(commands, onSelect) {
    const titles = [...document.querySelectorAll("#table th")].map((title) => title.textContent);
    this.rows = new Map(commands.map((command) => [command, this.makeRow(command, titles, onSelect)]));
    document.getElementById("rows").append(...this.rows.values());
  }

  makeRow(command, titles, onSelect) {
    const inPhase = (name) => {
      const segment = command.segments.find(({ phase }) => phase === name);
      return segment ? formatDuration(segment.end - segment.begin) : "";
    };
    const late = command.lateAnswers.length > 0 && command.outcome !== "unasked" ? " + late result" : "";
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
    ].map((content, i) => element("td", { "data-label": titles[i] }, content));
    cells[4].append(late);
    const row = element("tr", {}, ...cells);
    row.addEventListener("click", () => onSelect(command));
    return row;
  }

  show(commands) {
    const shown = new Set(commands);
    for (const [command, row] of this.rows) row.hidden = !shown.has(command);
    document.getElementById("none").hidden = shown.size > 0;
  }

  select(command) {
    this.rows.get(this.selected)?.removeAttribute("aria-current");
    this.selected = command;
    this.rows.get(command).setAttribute("aria-current", "true");
  }
}
