// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

const record = JSON.parse(document.getElementById("record").textContent);

const OUTCOMES = [
  "success", "failure", "connection timeout", "execution timeout", "refused", "dropped", "unfinished", "unsolicited",
];

// The number of commands per value of a member.
function countBy(member) {
  const counts = new Map();
  for (const command of record.commands) {
    counts.set(command[member], (counts.get(command[member]) ?? 0) + 1);
  }
  return counts;
}

function plural(count, what) {
  return `${count} ${what}${count === 1 ? "" : "s"}`;
}

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
  for (const [type, count] of [...countBy("type")].sort()) {
    if (type) document.getElementById("type").append(element("option", { value: type }, `${type} (${count})`));
  }
  const outcomes = countBy("outcome");
  for (const outcome of OUTCOMES.filter((name) => outcomes.has(name))) {
    const mark = element("span", { class: "mark" });
    mark.style.setProperty("--outcome", `var(${colourName(outcome)})`);
    const box = element("input", { type: "checkbox", value: outcome, checked: "" });
    document.getElementById("outcomes").append(element("label", {}, box, mark, `${outcome} ${outcomes.get(outcome)}`));
  }
}

function matching() {
  const search = document.getElementById("search").value.trim().toLowerCase();
  const type = document.getElementById("type").value;
  const outcomes = new Set([...document.querySelectorAll("#outcomes :checked")].map(({ value }) => value));
  return record.commands.filter((command) =>
    outcomes.has(command.outcome) && (type === "" || command.type === type) &&
    [command.uuid, command.type, command.handler].some((text) => text.toLowerCase().includes(search)));
}

function main() {
  const tip = document.getElementById("tip");
  const select = (command) => {
    timeline.select(command);
    table.select(command);
    showDetails(command);
  };
  const timeline = new Timeline(record.duration, {
    onSelect: select,
    onHover(command, pointer) {
      tip.hidden = !command;
      if (!command) return;
      tip.textContent = `${command.type || "?"} · ${command.outcome} · ${formatDuration(durationOf(command))} · ${command.uuid}`;
      tip.style.left = `${Math.min(pointer.clientX + 12, window.innerWidth - tip.offsetWidth - 8)}px`;
      tip.style.top = `${pointer.clientY + 14}px`;
    },
    onView(begin, end) {
      const from = formatDuration(Math.max(begin, 0));
      const to = formatDuration(Math.min(end, record.duration));
      document.getElementById("range").textContent = `${from} to ${to}`;
    },
  });
  const table = new Table(select);
  const show = () => {
    const commands = matching();
    timeline.setLanes(makeLanes(record, commands));
    table.show(commands);
    document.getElementById("count").textContent = `${commands.length} of ${plural(record.commands.length, "command")}`;
  };

  const filters = document.getElementById("filters");
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
  onClick("zoom-in", () => timeline.zoom(1.5));
  onClick("zoom-out", () => timeline.zoom(1 / 1.5));
  onClick("earlier", () => timeline.move(-0.25));
  onClick("later", () => timeline.move(0.25));
  onClick("fit", () => timeline.fit());

  showSummary();
  addFilters();
  show();
  timeline.fit();
}

main();
