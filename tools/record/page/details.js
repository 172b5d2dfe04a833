// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

function describeAnswer(answer) {
  return answer.status === 0 ? "success" : `failure with status ${answer.status}`;
}

// The steps of a command as pairs of time and text, sorted by time.
function stepsOf(command) {
  const steps = [];
  const add = (time, text) => {
    if (time !== undefined) steps.push([time, text]);
  };
  add(command.outcome === "unsolicited" ? undefined : command.begin, "sent");
  add(command.accepted, "accepted");
  add(command.launched, "handler launched");
  add(command.connected, "handler connected");
  command.delivered.forEach((time, i) => add(time, i === 0 ? "delivered" : "delivered again"));
  for (const { time, seconds, granted } of command.extensions) {
    add(time, `requested ${seconds} s: ${granted ? "granted" : "refused"}`);
  }
  for (const time of command.disconnected) add(time, "handler disconnected");
  for (const exit of command.exits) add(exit.time, `handler ${describeExit(exit)}`);
  steps.sort((a, b) => a[0] - b[0]);
  if (command.outcome === "refused") add(command.end, `refused: ${command.reason}`);
  else if (command.answer) add(command.end, `answered: ${describeAnswer(command.answer)}`);
  else if (command.outcome !== "unsolicited") add(command.end, command.outcome);
  for (const answer of command.lateAnswers) {
    add(answer.time, `late result: ${describeAnswer(answer)}`);
  }
  return steps;
}

// JSON is shown indented.
function textBlock(title, text) {
  if (!text) return [];
  let shown = text;
  try {
    shown = JSON.stringify(JSON.parse(text), null, 2);
  } catch {
    // Not JSON: shown unchanged.
  }
  return [element("h3", {}, title), element("pre", { tabindex: "0", "aria-label": title }, shown)];
}

function valuesOf(command) {
  const values = element("dl", {});
  const add = (name, ...value) => values.append(element("dt", {}, name), element("dd", {}, ...value));
  add("UUID", command.uuid, copyButton(command.uuid));
  add("Type", command.type || "unknown");
  add("Handler", command.handler || "none");
  add("Agent", String(command.process));
  add("Outcome", outcomeElement(command.outcome));
  if (!command.answer && reasonOf(command)) add("Reason", reasonOf(command));
  add("Total", formatDuration(durationOf(command)));
  for (const { phase, begin, end } of command.segments) {
    add(phase[0].toUpperCase() + phase.slice(1), formatDuration(end - begin));
  }
  return values;
}

function showDetails(command) {
  const steps = element("ol", {}, ...stepsOf(command).map(([time, text]) =>
    element("li", {}, element("span", {}, `+${formatDuration(time - command.begin)}`), element("span", {}, text))));
  const answers = [command.answer, ...command.lateAnswers].filter(Boolean);
  showInDetails(
    valuesOf(command),
    ...answers.flatMap(({ result, error }) => [...textBlock("Error", error), ...textBlock("Result", result)]),
    element("h3", {}, "Steps"),
    steps,
    ...textBlock("Payload", command.payload),
  );
}

function showInDetails(...contents) {
  document.getElementById("details-body").replaceChildren(...contents);
}
