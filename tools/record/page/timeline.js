// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

const AXIS = 24;
const LANE_TITLE = 22;
const ROW = 20;
const BAR = 15;
const LANE_GAP = 10;
const NARROWEST_SPAN = 10;
const MARGIN = 0.02;

// Draws lanes of commands onto a canvas, with zoom and scroll. Draws at most once per frame, and only
// the visible part.
class Timeline {
  // `onSelect` receives a command, `onHover` a command or null and the pointer event, `onView` the
  // beginning and the end of the visible range.
  constructor(duration, { onSelect, onHover, onView }) {
    this.box = document.getElementById("timeline");
    this.canvas = document.getElementById("canvas");
    this.spacer = document.getElementById("height");
    this.context = this.canvas.getContext("2d");
    const margin = Math.max(duration, NARROWEST_SPAN) * MARGIN;
    this.whole = { begin: -margin, end: Math.max(duration, NARROWEST_SPAN) + margin };
    this.view = { ...this.whole };
    this.lanes = [];
    this.selected = null;
    this.onSelect = onSelect;
    this.onHover = onHover;
    this.onView = onView;
    this.pointers = new Map();
    this.readColours();
    this.listen();
  }

  setLanes(lanes) {
    this.lanes = lanes;
    let top = AXIS;
    for (const lane of lanes) {
      lane.top = top;
      top += LANE_TITLE + Math.max(lane.rows.length, 1) * ROW + LANE_GAP;
    }
    this.contentHeight = top;
    this.resize();
  }

  // Scrolls to the command if it is not visible.
  select(command) {
    this.selected = command;
    if (command && (command.end < this.view.begin || command.begin > this.view.end)) {
      this.setView(command.begin - this.span / 2, this.span);
    }
    const position = command && this.positionOf(command);
    if (position) {
      const hidden = position.y < this.box.scrollTop + AXIS ||
          position.y + ROW > this.box.scrollTop + this.height;
      if (hidden) this.box.scrollTop = position.y - this.height / 2;
    }
    this.redraw();
  }

  fit() {
    this.setView(this.whole.begin, this.whole.end - this.whole.begin);
  }

  // A factor above 1 zooms in. The time at `x` keeps its position.
  zoom(factor, x = this.width / 2) {
    const widest = this.whole.end - this.whole.begin;
    const span = Math.min(Math.max(this.span / factor, NARROWEST_SPAN), widest);
    this.setView(this.timeAt(x) - span * x / this.width, span);
  }

  // Moves by a fraction of the visible range.
  move(part) {
    this.setView(this.view.begin + this.span * part, this.span);
  }

  get span() {
    return this.view.end - this.view.begin;
  }

  setView(begin, span) {
    const first = Math.min(Math.max(begin, this.whole.begin), this.whole.end - span);
    this.view = { begin: first, end: first + span };
    this.onView(this.view.begin, this.view.end);
    this.redraw();
  }

  timeAt(x) {
    return this.view.begin + x / this.width * this.span;
  }

  xAt(time) {
    return (time - this.view.begin) / this.span * this.width;
  }

  positionOf(command) {
    for (const lane of this.lanes) {
      const row = lane.rows.findIndex((commands) => commands.includes(command));
      if (row >= 0) return { y: this.topOfRow(lane, row) };
    }
    return null;
  }

  topOfRow(lane, row) {
    return lane.top + LANE_TITLE + row * ROW;
  }

  // The command at a position of the canvas, with a tolerance for thin bars.
  commandAt(x, y) {
    const near = 4;
    const top = y + this.box.scrollTop;
    for (const lane of this.lanes) {
      const row = lane.rows[Math.floor((top - lane.top - LANE_TITLE) / ROW)];
      if (!row) continue;
      const last = this.timeAt(x + near);
      let best = null;
      for (let i = firstVisible(row, this.timeAt(x - near)); i < row.length; ++i) {
        if (row[i].begin > last) break;
        if (!best || row[i].begin <= this.timeAt(x)) best = row[i];
      }
      return best;
    }
    return null;
  }

  readColours() {
    const style = getComputedStyle(document.documentElement);
    this.colour = (name) => style.getPropertyValue(name).trim();
    this.colours = new Proxy({}, {
      get: (known, name) => known[name] ??= this.colour(name),
    });
  }

  resize() {
    const ratio = window.devicePixelRatio || 1;
    this.spacer.style.height = "0";
    this.width = this.box.clientWidth;
    const most = Math.max(200, Math.round(window.innerHeight * 0.6) - 2);
    this.height = Math.min(this.contentHeight, most);
    this.spacer.style.height = `${this.contentHeight - this.height}px`;
    this.width = this.box.clientWidth;
    this.canvas.width = Math.round(this.width * ratio);
    this.canvas.height = Math.round(this.height * ratio);
    this.canvas.style.width = `${this.width}px`;
    this.canvas.style.height = `${this.height}px`;
    this.context.setTransform(ratio, 0, 0, ratio, 0, 0);
    this.redraw();
  }

  redraw() {
    this.frame ??= requestAnimationFrame(() => {
      this.frame = null;
      this.draw();
    });
  }

  draw() {
    const { context, width, height } = this;
    const scroll = this.box.scrollTop;
    context.fillStyle = this.colours["--back"];
    context.fillRect(0, 0, width, height);
    this.drawGrid();
    context.save();
    context.beginPath();
    context.rect(0, AXIS, width, height - AXIS);
    context.clip();
    context.translate(0, -scroll);
    for (const lane of this.lanes) {
      const bottom = this.topOfRow(lane, Math.max(lane.rows.length, 1)) + LANE_GAP;
      if (bottom > scroll && lane.top < scroll + height) this.drawLane(lane, scroll);
    }
    context.restore();
  }

  drawGrid() {
    const { context, width, height } = this;
    const least = this.span / Math.max(width / 90, 1);
    const power = 10 ** Math.floor(Math.log10(least));
    const step = power * [1, 2, 5, 10].find((factor) => power * factor >= least);
    context.font = "11px system-ui, sans-serif";
    context.textBaseline = "middle";
    context.lineWidth = 1;
    for (let tick = Math.ceil(Math.max(this.view.begin, 0) / step); tick * step <= this.view.end; ++tick) {
      const x = Math.round(this.xAt(tick * step)) + 0.5;
      context.strokeStyle = this.colours["--line"];
      context.beginPath();
      context.moveTo(x, AXIS);
      context.lineTo(x, height);
      context.stroke();
      const text = formatTick(tick * step, step);
      const half = context.measureText(text).width / 2;
      context.fillStyle = this.colours["--quiet"];
      context.fillText(text, Math.min(Math.max(x - half, 4), width - 2 * half - 4), AXIS / 2);
    }
  }

  drawLane(lane, scroll) {
    const { context, width } = this;
    for (const { begin, end } of lane.connections) {
      const left = Math.max(this.xAt(begin), 0);
      const right = Math.min(this.xAt(end), width);
      if (right < 0 || left > width) continue;
      context.fillStyle = this.colours["--quiet"];
      context.fillRect(left, lane.top + LANE_TITLE - 4, Math.max(right - left, 1), 2);
    }
    const first = Math.max(0, Math.floor((scroll + AXIS - lane.top - LANE_TITLE) / ROW));
    const last = Math.ceil((scroll + this.height - lane.top - LANE_TITLE) / ROW);
    lane.rows.slice(first, last).forEach((row, i) => this.drawRow(row, this.topOfRow(lane, first + i)));
    context.font = "600 12px system-ui, sans-serif";
    const text = context.measureText(lane.name).width;
    context.fillStyle = this.colours["--back"];
    context.fillRect(4, lane.top + 1, text + 8, LANE_TITLE - 6);
    context.fillStyle = this.colours["--text"];
    context.fillText(lane.name, 8, lane.top + 9);
  }

  drawRow(row, top) {
    for (let i = firstVisible(row, this.view.begin); i < row.length; ++i) {
      if (row[i].begin > this.view.end) break;
      this.drawCommand(row[i], top);
    }
  }

  drawCommand(command, top) {
    const { context } = this;
    const colour = this.colours[colourName(command.outcome)];
    const left = this.xAt(command.begin);
    const right = Math.max(this.xAt(command.end), left + 3);
    const shade = { connecting: 0.15, waiting: 0.4, executing: 1 };
    context.fillStyle = colour;
    if (command.segments.length === 0) context.fillRect(left, top, right - left, BAR);
    for (const { phase, begin, end } of command.segments) {
      const x = this.xAt(begin);
      context.globalAlpha = shade[phase];
      context.fillRect(x, top, Math.max(this.xAt(end) - x, 1), BAR);
    }
    context.globalAlpha = 1;
    context.strokeStyle = command === this.selected ? this.colours["--text"] : colour;
    context.lineWidth = command === this.selected ? 2 : 1;
    if (right - left > 3 || command === this.selected) {
      context.strokeRect(left + 0.5, top + 0.5, right - left - 1, BAR - 1);
    }
    this.drawLabel(command, top);
    this.drawMarks(command, colour, top);
  }

  // Draws the label in the widest visible segment, if it fits.
  drawLabel(command, top) {
    const { context } = this;
    const visible = command.segments
      .map(({ phase, begin, end }) => {
        const from = Math.max(this.xAt(begin), 0);
        return { phase, from, room: Math.min(this.xAt(end), this.width) - from };
      })
      .reduce((best, part) => (best && best.room >= part.room ? best : part), null);
    if (!visible || visible.room < 30) return;
    context.font = "11px system-ui, sans-serif";
    const text = command.type || command.uuid;
    const isMarked = command.extensions.some(({ time }) => Math.abs(this.xAt(time) - visible.from) < 12);
    const indent = isMarked ? 18 : 5;
    if (context.measureText(text).width + indent + 5 > visible.room) return;
    context.fillStyle = this.colours[visible.phase === "executing" ? "--on-outcome" : "--text"];
    context.fillText(text, visible.from + indent, top + BAR / 2 + 0.5);
  }

  drawMarks(command, colour, top) {
    const { context } = this;
    const middle = top + BAR / 2;
    for (const { time, granted } of command.extensions) {
      const x = this.xAt(time);
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
    for (const { time } of command.lateAnswers) {
      const x = this.xAt(time);
      context.strokeStyle = colour;
      context.lineWidth = 1;
      context.setLineDash([3, 3]);
      context.beginPath();
      context.moveTo(Math.max(this.xAt(command.end), 0), middle);
      context.lineTo(Math.min(x, this.width), middle);
      context.stroke();
      context.setLineDash([]);
      context.beginPath();
      context.moveTo(x, middle - 6);
      context.lineTo(x + 6, middle);
      context.lineTo(x, middle + 6);
      context.lineTo(x - 6, middle);
      context.closePath();
      context.fillStyle = colour;
      context.fill();
    }
  }

  listen() {
    const scheme = matchMedia("(prefers-color-scheme: dark)");
    scheme.addEventListener("change", () => {
      this.readColours();
      this.redraw();
    });
    window.addEventListener("resize", () => this.resize());
    this.box.addEventListener("scroll", () => this.redraw());
    this.box.addEventListener("wheel", (event) => this.onWheel(event), { passive: false });
    this.box.addEventListener("keydown", (event) => this.onKey(event));
    this.canvas.addEventListener("pointerdown", (event) => this.onDown(event));
    this.canvas.addEventListener("pointermove", (event) => this.onMove(event));
    for (const name of ["pointerup", "pointercancel"]) {
      this.canvas.addEventListener(name, (event) => this.onUp(event));
    }
    this.canvas.addEventListener("pointerleave", () => this.onHover(null));
  }

  onWheel(event) {
    // With the shift key, the wheel scrolls the lanes.
    if (event.shiftKey) return;
    event.preventDefault();
    if (Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      this.move(event.deltaX / this.width);
    } else {
      this.zoom(Math.exp(-event.deltaY * (event.ctrlKey ? 0.01 : 0.002)), event.offsetX);
    }
  }

  onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const actions = {
      "+": () => this.zoom(1.5),
      "=": () => this.zoom(1.5),
      "-": () => this.zoom(1 / 1.5),
      "0": () => this.fit(),
      ArrowLeft: () => this.move(-0.15),
      ArrowRight: () => this.move(0.15),
    };
    if (!(event.key in actions)) return;
    event.preventDefault();
    actions[event.key]();
  }

  onDown(event) {
    this.pointers.set(event.pointerId, { x: event.offsetX, y: event.offsetY });
    this.travelled = this.pointers.size > 1 ? Infinity : 0;
    this.canvas.setPointerCapture(event.pointerId);
  }

  // One pointer pans, two zoom.
  onMove(event) {
    const before = this.pointers.get(event.pointerId);
    const now = { x: event.offsetX, y: event.offsetY };
    if (!before) {
      this.onHover(this.commandAt(now.x, now.y), event);
      return;
    }
    if (this.pointers.size === 2) {
      const other = [...this.pointers].find(([id]) => id !== event.pointerId)[1];
      const apart = (a, b) => Math.max(Math.hypot(a.x - b.x, a.y - b.y), 1);
      this.zoom(apart(now, other) / apart(before, other), (now.x + other.x) / 2);
    } else {
      this.travelled += Math.abs(now.x - before.x) + Math.abs(now.y - before.y);
      this.move((before.x - now.x) / this.width);
      if (event.pointerType === "mouse") this.box.scrollTop += before.y - now.y;
      this.box.classList.add("dragged");
    }
    this.pointers.set(event.pointerId, now);
  }

  onUp(event) {
    const isClick = this.pointers.delete(event.pointerId) && this.travelled < 5;
    this.box.classList.remove("dragged");
    if (!isClick || event.type === "pointercancel") return;
    const command = this.commandAt(event.offsetX, event.offsetY);
    if (command) this.onSelect(command);
  }
}
