// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Shows lanes of commands on a canvas, with zoom and scroll. Draws at most once per frame.
class Timeline {
  // `onSelect` receives a command, `onHover` the command, the exits or null at the pointer and the
  // pointer event, `onView` the beginning and the end of the visible range.
  constructor(duration, { onSelect, onHover, onView }) {
    this.box = document.getElementById("timeline");
    this.canvas = document.getElementById("canvas");
    this.spacer = document.getElementById("height");
    this.titles = document.getElementById("lanes");
    this.context = this.canvas.getContext("2d");
    this.view = new View(duration);
    this.painter = new Painter(this.context, this.view);
    this.lanes = [];
    this.expanded = new Set();
    this.selected = null;
    this.onSelect = onSelect;
    this.onHover = onHover;
    this.onView = onView;
    this.pointers = new Map();
    this.listen();
    this.change("fit");
  }

  setLanes(lanes) {
    this.lanes = lanes;
    this.contentHeight = layOut(lanes, this.expanded);
    this.titles.style.height = `${this.contentHeight}px`;
    this.titles.replaceChildren(...lanes.map((lane) => this.makeTitle(lane)));
    this.resize();
  }

  makeTitle(lane) {
    const counts = [plural(lane.count, "command")];
    if (lane.handler.exits.length > 0) counts.push(plural(lane.handler.exits.length, "exit"));
    const title = element(lane.isTall ? "button" : "span", {}, lane.name, element("small", {}, counts.join(" · ")));
    title.style.top = `${lane.top}px`;
    if (lane.isTall) {
      title.type = "button";
      title.title = lane.isCollapsed ? "Expand the lane" : "Collapse the lane";
      title.setAttribute("aria-expanded", String(!lane.isCollapsed));
      title.addEventListener("click", () => this.toggle(lane));
    }
    return title;
  }

  toggle(lane) {
    if (!this.expanded.delete(lane.name)) this.expanded.add(lane.name);
    this.setLanes(this.lanes);
    this.titles.children[this.lanes.indexOf(lane)].focus();
  }

  // Scrolls to the command if it is not visible. Null selects nothing.
  select(command) {
    this.selected = command;
    const { view } = this;
    if (command && (command.end < view.begin || command.begin > view.end)) {
      this.change("set", command.begin - view.span / 2, view.span);
    }
    const top = command && this.topOf(command);
    if (top) {
      const isHidden = top < this.box.scrollTop + AXIS || top + ROW > this.box.scrollTop + this.height;
      if (isHidden) this.box.scrollTop = top - this.height / 2;
    }
    this.redraw();
  }

  zoomToSelection() {
    if (this.selected) this.change("zoomTo", this.selected.begin, lastTimeOf(this.selected));
  }

  // Calls a method of the view.
  change(method, ...values) {
    this.view[method](...values);
    this.onView(this.view.begin, this.view.end);
    this.redraw();
  }

  topOf(command) {
    for (const lane of this.lanes) {
      const row = lane.rows.findIndex((commands) => commands.includes(command));
      if (row >= 0) return lane.rowsTop + row * lane.rowHeight;
    }
    return null;
  }

  // The command or the exits at a position of the canvas.
  targetAt(x, y) {
    const top = y + this.box.scrollTop;
    const lane = this.lanes.find((candidate) => top >= candidate.top && top < candidate.bottom);
    if (!lane || y < AXIS) return null;
    return top < lane.rowsTop ? this.exitsAt(lane, x) : this.commandAt(lane, x, top);
  }

  exitsAt(lane, x) {
    return groupExits(lane.handler.exits, this.view).find((group) => Math.abs(group.x - x) < MARK_WIDTH / 2) ?? null;
  }

  // With a tolerance for thin bars.
  commandAt(lane, x, top) {
    const near = 4;
    const row = lane.rows[Math.floor((top - lane.rowsTop) / lane.rowHeight)] ?? [];
    const last = this.view.timeAt(x + near);
    let best = null;
    for (let i = firstVisible(row, this.view.timeAt(x - near)); i < row.length; ++i) {
      if (row[i].begin > last) break;
      if (!best || row[i].begin <= this.view.timeAt(x)) best = row[i];
    }
    return best && { command: best };
  }

  resize() {
    const ratio = window.devicePixelRatio || 1;
    const highest = Math.max(200, Math.round(window.innerHeight * 0.6) - 2);
    this.height = Math.min(this.contentHeight, highest);
    this.spacer.style.height = `${this.contentHeight - this.height}px`;
    this.canvas.style.height = `${this.height}px`;
    // Without the scroll bar that these heights may require.
    const width = this.box.clientWidth;
    this.view.width = width;
    this.canvas.width = Math.round(width * ratio);
    this.canvas.height = Math.round(this.height * ratio);
    this.canvas.style.width = `${width}px`;
    this.context.setTransform(ratio, 0, 0, ratio, 0, 0);
    this.redraw();
  }

  redraw() {
    this.frame ??= requestAnimationFrame(() => {
      this.frame = null;
      const scroll = this.box.scrollTop;
      // Titles must not cover the axis.
      this.titles.style.clipPath = `inset(${scroll + AXIS - 4}px 0 0 0)`;
      this.painter.draw(this.lanes, this.selected, scroll, this.height);
    });
  }

  listen() {
    const scheme = matchMedia("(prefers-color-scheme: dark)");
    scheme.addEventListener("change", () => {
      this.painter.readColours();
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
      this.change("move", event.deltaX / this.view.width);
    } else {
      const x = event.clientX - this.box.getBoundingClientRect().left;
      this.change("zoom", Math.exp(-event.deltaY * (event.ctrlKey ? 0.01 : 0.002)), x);
    }
  }

  onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const actions = {
      "+": () => this.change("zoom", 1.5),
      "=": () => this.change("zoom", 1.5),
      "-": () => this.change("zoom", 1 / 1.5),
      "0": () => this.change("fit"),
      "s": () => this.zoomToSelection(),
      ArrowLeft: () => this.change("move", -0.15),
      ArrowRight: () => this.change("move", 0.15),
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
      this.onHover(this.targetAt(now.x, now.y), event);
      return;
    }
    if (this.pointers.size === 2) {
      const other = [...this.pointers].find(([id]) => id !== event.pointerId)[1];
      const apart = (a, b) => Math.max(Math.hypot(a.x - b.x, a.y - b.y), 1);
      this.change("zoom", apart(now, other) / apart(before, other), (now.x + other.x) / 2);
    } else {
      this.travelled += Math.abs(now.x - before.x) + Math.abs(now.y - before.y);
      this.change("move", (before.x - now.x) / this.view.width);
      if (event.pointerType === "mouse") this.box.scrollTop += before.y - now.y;
      this.box.classList.add("dragged");
    }
    this.pointers.set(event.pointerId, now);
  }

  onUp(event) {
    const isClick = this.pointers.delete(event.pointerId) && this.travelled < 5;
    this.box.classList.remove("dragged");
    if (!isClick || event.type === "pointercancel") return;
    const target = this.targetAt(event.offsetX, event.offsetY);
    if (target?.command) this.onSelect(target.command);
  }
}
