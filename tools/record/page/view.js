// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

const NARROWEST_SPAN = 10;
const MARGIN = 0.02;

function clamp(value, least, most) {
  return Math.min(Math.max(value, least), most);
}

// The visible range of time, scaled to a width in pixels.
class View {
  constructor(duration) {
    const length = Math.max(duration, NARROWEST_SPAN);
    this.first = -length * MARGIN;
    this.widest = length * (1 + 2 * MARGIN);
    this.width = 1;
    this.fit();
  }

  get end() {
    return this.begin + this.span;
  }

  set(begin, span) {
    this.span = clamp(span, NARROWEST_SPAN, this.widest);
    this.begin = clamp(begin, this.first, this.first + this.widest - this.span);
  }

  fit() {
    this.set(this.first, this.widest);
  }

  // A factor above 1 zooms in. The time at `x` keeps its position.
  zoom(factor, x = this.width / 2) {
    const span = clamp(this.span / factor, NARROWEST_SPAN, this.widest);
    this.set(this.timeAt(x) - span * x / this.width, span);
  }

  // Moves by a fraction of the visible range.
  move(part) {
    this.set(this.begin + this.span * part, this.span);
  }

  // Fills most of the width with a range.
  zoomTo(begin, end) {
    const span = Math.max((end - begin) * 1.2, NARROWEST_SPAN);
    this.set((begin + end - span) / 2, span);
  }

  timeAt(x) {
    return this.begin + x / this.width * this.span;
  }

  xAt(time) {
    return (time - this.begin) / this.span * this.width;
  }
}
