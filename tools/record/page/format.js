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

function plural(count, what) {
  return `${count} ${what}${count === 1 ? "" : "s"}`;
}

// Keeps both ends, because generated uuids often share the first characters.
function shortUuid(uuid) {
  return uuid.length > 16 ? `${uuid.slice(0, 8)}…${uuid.slice(-4)}` : uuid;
}

function compare(a, b) {
  return a < b ? -1 : Number(a > b);
}

// Creates an element. Children are elements or texts; texts are never parsed as markup.
function element(name, attributes, ...children) {
  const created = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) created.setAttribute(key, value);
  created.append(...children);
  return created;
}

// Shows a message for a moment.
function notify(message) {
  const notice = document.getElementById("notice");
  notice.textContent = message;
  clearTimeout(notify.timer);
  notify.timer = setTimeout(() => notice.replaceChildren(), 3000);
}

function copyButton(uuid) {
  const button = element("button", { type: "button", class: "copy", title: "Copy UUID", "aria-label": `Copy UUID ${uuid}` });
  button.addEventListener("click", async () => {
    try {
      await navigator.clipboard.writeText(uuid);
      notify("UUID copied");
    } catch {
      notify("The browser does not allow copying");
    }
  });
  return button;
}
