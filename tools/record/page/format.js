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

// A time on the axis, with as many digits as tell neighbours that lie `step` apart from each other.
function formatTick(microseconds, step) {
  const [unit, name] = step >= 1e5 ? [1e6, "s"] : step >= 100 ? [1e3, "ms"] : [1, "µs"];
  const digits = Math.max(0, Math.ceil(-Math.log10(step / unit) - 1e-9));
  return `${(microseconds / unit).toFixed(digits)} ${name}`;
}

// An element with attributes and children. Children are elements or texts, never markup.
function element(name, attributes, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

// Names of outcomes are texts; those of their colours are words with hyphens.
function colourName(outcome) {
  return `--${outcome.replace(/ /g, "-")}`;
}

function durationOf(command) {
  return command.end - command.begin;
}
