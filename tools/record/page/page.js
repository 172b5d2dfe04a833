// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

const record = JSON.parse(document.getElementById("record").textContent);

// The commands by the part of an address that selects them. A uuid that was sent again is followed
// by the number of the command.
const commandsByLink = new Map();
record.commands.forEach((command, i) => {
  const name = commandsByLink.has(command.uuid) ? `${command.uuid}~${i + 1}` : command.uuid;
  commandsByLink.set(name, command);
  command.link = `#${encodeURIComponent(name)}`;
});

function showSummary() {
  const late = record.commands.filter(({ lateAnswers, outcome }) =>
    lateAnswers.length > 0 && outcome !== "unsolicited").length;
  document.getElementById("summary").textContent = [
    record.begin,
    formatDuration(record.duration),
    plural(record.commands.length, "command"),
    plural(record.handlers.length, "handler"),
    ...(late > 0 ? [plural(late, "late result")] : []),
    ...record.agents.map(({ process, program }) => `${program} (${process})`),
  ].filter(Boolean).join(" · ");
}

function addFilters() {
  for (const [type, { length }] of groupBy(record.commands, "type")) {
    if (type) document.getElementById("type").append(element("option", { value: type }, `${type} (${length})`));
  }
  const byOutcome = groupBy(record.commands, "outcome");
  for (const outcome of OUTCOMES.filter((name) => byOutcome.has(name))) {
    const box = element("input", { type: "checkbox", value: outcome, checked: "" });
    document.getElementById("outcomes").append(
      element("label", {}, box, outcomeElement(outcome), ` ${byOutcome.get(outcome).length}`));
  }
}

// All texts of a command that can be searched, in lower case.
function searchText(command) {
  const { uuid, type, handler, answer, lateAnswers, exits } = command;
  const answers = [answer, ...lateAnswers].filter(Boolean).flatMap(({ result, error }) => [result, error]);
  command.text ??= [uuid, type, handler, reasonOf(command), ...answers, ...exits.map(({ text }) => text)]
    .join("\n").toLowerCase();
  return command.text;
}

function matching() {
  const search = document.getElementById("search").value.trim().toLowerCase();
  const type = document.getElementById("type").value;
  const outcomes = new Set([...document.querySelectorAll("#outcomes :checked")].map(({ value }) => value));
  return record.commands.filter((command) =>
    outcomes.has(command.outcome) && (type === "" || command.type === type) && searchText(command).includes(search));
}

function tipOf({ command, exits }) {
  if (!command) return `${plural(exits.length, "exit")}, last: ${describeExit(exits.at(-1))}`;
  const { type, outcome, uuid } = command;
  return [type || "?", outcome, formatDuration(durationOf(command)), uuid, reasonOf(command).slice(0, MAX_CELL_LENGTH)]
    .filter(Boolean).join(" · ");
}

function showTip(target, pointer) {
  const tip = document.getElementById("tip");
  tip.hidden = !target;
  if (!target) return;
  tip.textContent = tipOf(target);
  tip.style.left = `${Math.min(pointer.clientX + 12, window.innerWidth - tip.offsetWidth - 8)}px`;
  tip.style.top = `${pointer.clientY + 14}px`;
}

function showRange(begin, end) {
  const from = formatDuration(Math.max(begin, 0));
  const to = formatDuration(Math.min(end, record.duration));
  document.getElementById("range").textContent = `${from} to ${to}`;
}

function nameInAddress() {
  const name = location.hash.slice(1);
  try {
    return decodeURIComponent(name);
  } catch {
    return name;
  }
}

function main() {
  const filters = document.getElementById("filters");
  let selected = null;
  const mark = (command) => {
    selected = command;
    timeline.select(command);
    table.select(command);
    document.body.classList.toggle("selected", command !== null);
    document.getElementById("selection").disabled = command === null;
  };
  const select = (command) => {
    if (command === selected) return;
    mark(command);
    showDetails(command);
    location.hash = command.link;
  };
  const deselect = () => {
    mark(null);
    showInDetails(element("p", { class: "quiet" }, "Select a command in the timeline or in the table."));
    // An assignment to location.hash would scroll to the top.
    history.replaceState(null, "", "#");
  };
  const timeline = new Timeline(record.duration, { onSelect: select, onHover: showTip, onView: showRange });
  const table = new Table(select);
  const show = () => {
    const commands = matching();
    timeline.setLanes(makeLanes(record, commands));
    table.show(commands);
    showStatistics(record, commands);
    document.getElementById("count").textContent = `${commands.length} of ${plural(record.commands.length, "command")}`;
  };
  // Selects the command that the address names, and shows it despite filters.
  const followLink = () => {
    const name = nameInAddress();
    const command = commandsByLink.get(name);
    if (name && !command) notify(`No command ${shortUuid(name)} in this record`);
    if (!command || command === selected) return;
    if (!matching().includes(command)) {
      filters.reset();
      show();
    }
    select(command);
    table.scrollTo(command);
  };

  // Deferred to the next frame: limits the rate while typing, and a reset clears its fields only after
  // the event.
  let frame = null;
  const showSoon = () => {
    frame ??= requestAnimationFrame(() => {
      frame = null;
      show();
    });
  };
  filters.addEventListener("input", showSoon);
  filters.addEventListener("reset", showSoon);
  filters.addEventListener("submit", (event) => event.preventDefault());
  const onClick = (id, action) => document.getElementById(id).addEventListener("click", action);
  onClick("zoom-in", () => timeline.change("zoom", 1.5));
  onClick("zoom-out", () => timeline.change("zoom", 1 / 1.5));
  onClick("earlier", () => timeline.change("move", -0.25));
  onClick("later", () => timeline.change("move", 0.25));
  onClick("fit", () => timeline.change("fit"));
  onClick("selection", () => timeline.zoomToSelection());
  onClick("close", deselect);
  window.addEventListener("hashchange", followLink);
  document.addEventListener("keydown", (event) => {
    if (event.key === "Escape" && selected) deselect();
  });

  document.getElementById("exit-sign").prepend(symbolElement("exit"));
  showSummary();
  addFilters();
  show();
  followLink();
}

main();
