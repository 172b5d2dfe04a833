// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Lines in a square of 12 units: outcomes differ by shape, not only by colour.
const SYMBOLS = {
  "success": "M2 6.5 5 9.5 10 3",
  "failure": "M3 3 9 9M9 3 3 9",
  "connection timeout": "M3 2H9L3 10H9Z",
  "execution timeout": "M6 1.5a4.5 4.5 0 1 0 .01 0M6 4V6.5H8",
  "refused": "M6 1.5a4.5 4.5 0 1 0 .01 0M3.5 6H8.5",
  "dropped": "M6 2V10M3 7 6 10 9 7",
  "unfinished": "M2 6h.01M6 6h.01M10 6h.01",
  "unsolicited": "M4 4.3a2 2 0 1 1 2.9 1.7Q6 6.5 6 7.5M6 10h.01",
  "exit": "M2 2H10V10H2ZM4.5 4.5 7.5 7.5M7.5 4.5 4.5 7.5",
};
const OUTCOMES = Object.keys(SYMBOLS).filter((name) => name !== "exit");
const FAILURES = new Set(["failure", "connection timeout", "execution timeout", "refused", "dropped"]);

// The custom property with the colour of an outcome.
function colourName(outcome) {
  return `--${outcome.replace(/ /g, "-")}`;
}

function symbolElement(name) {
  const create = (tag) => document.createElementNS("http://www.w3.org/2000/svg", tag);
  const symbol = create("svg");
  symbol.setAttribute("viewBox", "0 0 12 12");
  symbol.setAttribute("aria-hidden", "true");
  symbol.append(create("path"));
  symbol.firstChild.setAttribute("d", SYMBOLS[name]);
  return symbol;
}

function outcomeElement(outcome) {
  const shown = element("span", { class: "mark" }, symbolElement(outcome), outcome);
  shown.style.setProperty("--outcome", `var(${colourName(outcome)})`);
  return shown;
}

function durationOf(command) {
  return command.end - command.begin;
}

function durationOfPhase(command, name) {
  const segment = command.segments.find(({ phase }) => phase === name);
  return segment ? segment.end - segment.begin : 0;
}

function textOf({ status, result, error }) {
  return status === 0 ? result : error || result || `status ${status}`;
}

// The process is 0 if the handler could not be started.
function describeExit({ process, text }) {
  return process === 0 ? text : `${text} (process ${process})`;
}

// The result or error of a command, or what else is known about its end.
function reasonOf(command) {
  if (command.reason) return command.reason;
  if (command.answer) return textOf(command.answer);
  const reasons = command.lateAnswers.map((answer) => `late result: ${textOf(answer)}`);
  if (command.exits.length > 0) reasons.unshift(`handler ${command.exits[0].text}`);
  else if (command.disconnected.length > 0) reasons.unshift("handler disconnected");
  return reasons.join("; ");
}
