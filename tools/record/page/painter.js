// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

const BAR = 15;
const SYMBOL = 12;
const SHADES = { connecting: 0.15, waiting: 0.4, executing: 1 };

// Draws the visible parts of lanes onto a canvas.
class Painter {
  constructor(context, view) {
    this.context = context;
    this.view = view;
    this.paths = Object.fromEntries(Object.entries(SYMBOLS).map(([name, path]) => [name, new Path2D(path)]));
    this.readColours();
  }

  readColours() {
    const style = getComputedStyle(document.documentElement);
    this.colours = new Proxy({}, {
      get: (known, name) => known[name] ??= style.getPropertyValue(name).trim(),
    });
    this.outcomeColours = Object.fromEntries(OUTCOMES.map((name) => [name, this.colours[colourName(name)]]));
  }

  draw(lanes, selected, scroll, height) {
    const { context, view } = this;
    this.selected = selected;
    context.fillStyle = this.colours["--back"];
    context.fillRect(0, 0, view.width, height);
    this.drawGrid(height);
    context.save();
    context.beginPath();
    context.rect(0, AXIS, view.width, height - AXIS);
    context.clip();
    context.translate(0, -scroll);
    for (const lane of lanes) {
      if (lane.bottom > scroll && lane.top < scroll + height) this.drawLane(lane, scroll, height);
    }
    context.restore();
  }

  drawGrid(height) {
    const { context, view } = this;
    const least = view.span / Math.max(view.width / 90, 1);
    const power = 10 ** Math.floor(Math.log10(least));
    const step = power * [1, 2, 5, 10].find((factor) => power * factor >= least);
    context.font = "11px system-ui, sans-serif";
    context.textBaseline = "middle";
    context.lineWidth = 1;
    for (let tick = Math.ceil(Math.max(view.begin, 0) / step); tick * step <= view.end; ++tick) {
      const x = Math.round(view.xAt(tick * step)) + 0.5;
      context.fillStyle = this.colours["--line"];
      context.fillRect(x, AXIS, 1, height - AXIS);
      const text = formatTick(tick * step, step);
      const half = context.measureText(text).width / 2;
      context.fillStyle = this.colours["--quiet"];
      context.fillText(text, clamp(x - half, 4, view.width - 2 * half - 4), AXIS / 2);
    }
  }

  drawLane(lane, scroll, height) {
    this.drawProcesses(lane);
    const first = Math.max(0, Math.floor((scroll + AXIS - lane.rowsTop) / lane.rowHeight));
    const last = Math.ceil((scroll + height - lane.rowsTop) / lane.rowHeight);
    lane.rows.slice(first, last).forEach((row, i) => {
      const top = lane.rowsTop + (first + i) * lane.rowHeight;
      if (lane.isCollapsed) this.drawThinRow(row, top, lane.rowHeight);
      else this.drawRow(row, top);
    });
  }

  // Connections as lines between ticks, exits as marks.
  drawProcesses(lane) {
    const { context, view } = this;
    const middle = lane.top + LANE_TITLE + PROCESSES / 2 - 2;
    context.fillStyle = this.colours["--quiet"];
    for (const { begin, end } of lane.handler.connections) {
      const left = clamp(view.xAt(begin), -2, view.width + 2);
      const right = clamp(view.xAt(end), -2, view.width + 2);
      context.fillRect(left, middle - 1, right - left, 2);
      context.fillRect(left, middle - 4, 2, 8);
      context.fillRect(right - 1, middle - 4, 1, 8);
    }
    for (const { x, exits } of groupExits(lane.handler.exits, view)) {
      if (x > -50 && x < view.width + SYMBOL) this.drawExits(x, middle, exits);
    }
  }

  drawExits(x, middle, exits) {
    const { context } = this;
    const hasFailed = exits.some(({ process, status, signal }) => process === 0 || status !== 0 || signal !== 0);
    const colour = this.colours[hasFailed ? "--failure" : "--quiet"];
    const text = exits.length > 1 ? `×${exits.length}` : "";
    context.font = "600 11px system-ui, sans-serif";
    context.fillStyle = this.colours["--back"];
    context.fillRect(x - SYMBOL / 2 - 1, middle - 7, SYMBOL + 2 + context.measureText(text).width, 14);
    this.drawSymbol("exit", x - SYMBOL / 2, middle - SYMBOL / 2, colour);
    context.fillStyle = colour;
    context.fillText(text, x + SYMBOL / 2, middle + 0.5);
  }

  drawSymbol(name, x, y, colour) {
    const { context } = this;
    context.save();
    context.translate(x, y);
    context.strokeStyle = colour;
    context.lineWidth = 1.7;
    context.lineCap = context.lineJoin = "round";
    context.stroke(this.paths[name]);
    context.restore();
  }

  // Calls `draw` with each visible command and the position of the next one.
  forEachVisible(row, draw) {
    for (let i = firstVisible(row, this.view.begin); i < row.length && row[i].begin <= this.view.end; ++i) {
      draw(row[i], i + 1 < row.length ? this.view.xAt(row[i + 1].begin) : Infinity);
    }
  }

  // A row of a collapsed lane.
  drawThinRow(row, top, height) {
    this.forEachVisible(row, (command) => {
      const isSelected = command === this.selected;
      const left = this.view.xAt(command.begin);
      const right = this.view.xAt(command.end);
      this.context.fillStyle = isSelected ? this.colours["--text"] : this.outcomeColours[command.outcome];
      this.context.fillRect(left, top, Math.max(right - left, 2), isSelected ? 4 : Math.max(height * 0.8, 1));
    });
  }

  drawRow(row, top) {
    this.forEachVisible(row, (command, next) => {
      const left = this.view.xAt(command.begin);
      const right = Math.max(this.view.xAt(command.end), left + 3);
      this.drawBar(command, left, right, top);
      this.drawLabel(command, left, right, next, top);
      this.drawExtensions(command, top);
      this.drawLateAnswers(command, top);
    });
  }

  drawBar(command, left, right, top) {
    const { context, view } = this;
    const colour = this.outcomeColours[command.outcome];
    context.fillStyle = colour;
    if (command.segments.length === 0) context.fillRect(left, top, right - left, BAR);
    for (const { phase, begin, end } of command.segments) {
      const x = view.xAt(begin);
      context.globalAlpha = SHADES[phase];
      context.fillRect(x, top, Math.max(view.xAt(end) - x, 1), BAR);
    }
    context.globalAlpha = 1;
    const isSelected = command === this.selected;
    if (right - left <= 3 && !isSelected) return;
    context.strokeStyle = isSelected ? this.colours["--text"] : colour;
    context.lineWidth = isSelected ? 2 : 1;
    context.strokeRect(left + 0.5, top + 0.5, right - left - 1, BAR - 1);
  }

  // Draws symbol and type in the widest visible segment, or the symbol after the bar, if they fit.
  drawLabel(command, left, right, next, top) {
    const { context } = this;
    const room = right - left > SYMBOL ? this.widestPart(command) : { from: left, to: left };
    const x = this.besideExtensions(command, room.from + 3);
    if (x + SYMBOL + 3 > room.to) {
      const isFree = next - right > SYMBOL + 4 && command.lateAnswers.length === 0;
      if (isFree) this.drawSymbol(command.outcome, right + 3, top + 1.5, this.outcomeColours[command.outcome]);
      return;
    }
    const colour = this.colours[room.phase === "executing" ? "--on-outcome" : "--text"];
    this.drawSymbol(command.outcome, x, top + 1.5, colour);
    context.font = "11px system-ui, sans-serif";
    const text = command.type || command.uuid;
    if (x + SYMBOL + 8 + context.measureText(text).width > room.to) return;
    context.fillStyle = colour;
    context.fillText(text, x + SYMBOL + 4, top + BAR / 2 + 0.5);
  }

  // The visible part of the widest segment.
  widestPart({ segments }) {
    const parts = segments.map(({ phase, begin, end }) => {
      const [from, to] = [begin, end].map((time) => clamp(this.view.xAt(time), 0, this.view.width));
      return { phase, from, to };
    });
    const width = ({ from, to }) => to - from;
    return parts.reduce((best, part) => (width(best) >= width(part) ? best : part), { from: 0, to: 0 });
  }

  // Moves the position of a symbol behind marks that would cover it.
  besideExtensions(command, x) {
    for (const { time } of command.extensions) {
      const mark = this.view.xAt(time);
      if (Math.abs(mark - x - SYMBOL / 2) < SYMBOL) x = mark + 7;
    }
    return x;
  }

  drawExtensions(command, top) {
    const { context } = this;
    for (const { time, granted } of command.extensions) {
      const x = this.view.xAt(time);
      context.beginPath();
      context.moveTo(x, top - 1);
      context.lineTo(x + 5, top + 8);
      context.lineTo(x - 5, top + 8);
      context.closePath();
      context.fillStyle = this.colours[granted ? "--text" : "--back"];
      context.fill();
      context.lineWidth = 1;
      context.strokeStyle = this.colours[granted ? "--back" : "--text"];
      context.stroke();
    }
  }

  drawLateAnswers(command, top) {
    const { context, view } = this;
    const middle = top + BAR / 2;
    context.strokeStyle = context.fillStyle = this.outcomeColours[command.outcome];
    context.lineWidth = 1;
    for (const { time } of command.lateAnswers) {
      const x = view.xAt(time);
      context.setLineDash([3, 3]);
      context.beginPath();
      context.moveTo(Math.max(view.xAt(command.end), 0), middle);
      context.lineTo(Math.min(x, view.width), middle);
      context.stroke();
      context.setLineDash([]);
      context.beginPath();
      context.moveTo(x, middle - 6);
      context.lineTo(x + 6, middle);
      context.lineTo(x, middle + 6);
      context.lineTo(x - 6, middle);
      context.fill();
    }
  }
}
