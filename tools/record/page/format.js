// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0
"use strict";

// All times are microseconds since the beginning of the record.

function formatDuration(microseconds) {
  const value = Math.abs(microseconds);
  if (value < 1e3) return `${Math.round(microseconds)} µs`;
  if (value < 1e6) return `${(microseconds / 1e3).toFixed(1)} ms`;
  return `${(microseconds / 1e6).toFixed(3)} s`;
}

// A time on the axis, with enough digits to distinguish ticks at intervals of `step`.
function formatTick(microseconds, step) {
  const [unit, name] = step >= 1e5 ? [1e6, "s"] : step >= 100 ? [1e3, "ms"] : [1, "µs"];
  const digits = Math.max(0, Math.ceil(-Math.log10(step / unit) - 1e-9));
  return `${(microseconds / unit).toFixed(digits)} ${name}`;
}

// Creates an element. Children are elements or texts; texts are never parsed as markup.
function element(name, attributes, ...children) {
  const created = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) created.setAttribute(key, value);
  created.append(...children);
  return created;
}

// The custom property with the colour of an outcome.
function colourName(outcome) {
  return `--${outcome.replace(/ /g, "-")}`;
}

function durationOf(command) {
  return command.end - command.begin;
}
