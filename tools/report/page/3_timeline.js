// SPDX-License-Identifier: Apache-2.0
// A timeline per thread: how busy it was over all the time, and the requests that are kept.

const LABEL = 18;
const LOAD = 22;
const STEP = 16;
const DEEPEST = 7;
const EDGE = 6;
const NARROWEST_NS = 1000;

const OTHER_THREADS = {ring: 0, process: 0, thread: 0};

function keyOf({ring, process, thread}) {
  return `${ring}/${process}/${thread}`;
}

/// The smallest step of times that people count in which is at least `min`.
function stepOf(min) {
  const minute = 60e9;
  const day = 86400e9;
  const long = [1e9, 2e9, 5e9, 10e9, 15e9, 30e9, minute, 2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
    60 * minute, 120 * minute, 180 * minute, 360 * minute, 720 * minute, day];
  if (min > 0.5e9) {
    return long.find((step) => step >= min) || day * Math.ceil(min / day);
  }
  const power = 10 ** Math.floor(Math.log10(Math.max(1, min)));
  return [1, 2, 5, 10].map((factor) => power * factor).find((step) => step >= min);
}

class Timeline {
  constructor() {
    this.all = Math.max(report.endNs, 1);
    this.from = 0;
    this.to = this.all;
    this.chosen = -1;
    this.lanes = report.threads.map((thread) => ({thread, requests: [], ends: [], depth: 0}));
    const byThread = new Map(this.lanes.map((lane) => [keyOf(lane.thread), lane]));
    report.kept.forEach((request, at) => {
      const lane = byThread.get(keyOf(request)) || byThread.get(keyOf(OTHER_THREADS));
      if (lane) {
        lane.requests.push(at);
        lane.depth = Math.max(lane.depth, 1, ...request.slices.map((slice) => Math.min(slice.depth + 1, DEEPEST)));
        lane.ends.push(Math.max(request.endNs, ...request.slices.map((slice) => slice.endNs)));
      }
    });
    let top = 0;
    for (const lane of this.lanes) {
      lane.top = top;
      top += LABEL + LOAD + lane.depth * STEP + 10;
    }
    this.height = top;
    this.make();
  }

  make() {
    this.axis = draw('svg', {height: 24, 'aria-hidden': 'true'});
    this.picture = draw('svg', {height: this.height, role: 'img'});
    this.status = make('div', {class: 'status', role: 'status', 'aria-live': 'polite'});
    this.lanesBox = make('div', {class: 'lanes'}, this.picture);
    this.box = make('div', {
      id: 'line', tabindex: '0', role: 'group', 'aria-label': 'Timeline of the threads',
      'aria-describedby': 'line-keys',
    }, this.axis, this.lanesBox);
    this.box.addEventListener('keydown', (event) => this.key(event));
    this.drag();
    new ResizeObserver(() => this.render()).observe(this.lanesBox);
    matchMedia('print').addEventListener('change', () => this.render());
  }

  /// Moves the part that is shown.
  move(from, to) {
    const span = Math.min(this.all, Math.max(NARROWEST_NS, to - from));
    this.from = Math.min(Math.max(0, from), this.all - span);
    this.to = this.from + span;
    this.render();
  }

  zoom(factor, middle = (this.from + this.to) / 2) {
    this.move(middle - (middle - this.from) * factor, middle + (this.to - middle) * factor);
    this.say();
  }

  pan(share) {
    const by = (this.to - this.from) * share;
    this.move(this.from + by, this.to + by);
    this.say();
  }

  say() {
    if (this.chosen < 0) {
      this.status.replaceChildren(`Shows ${exactly(this.from)} to ${exactly(this.to)}, ${duration(this.to - this.from)}.`);
    }
  }

  key(event) {
    const actions = {
      '+': () => this.zoom(0.5), '=': () => this.zoom(0.5), '-': () => this.zoom(2),
      ArrowLeft: () => this.pan(-0.25), ArrowRight: () => this.pan(0.25),
      '0': () => this.whole(), Home: () => this.whole(),
      n: () => this.next(1, true), p: () => this.next(-1, true),
      '.': () => this.next(1, false), ',': () => this.next(-1, false),
      Escape: () => this.whole(),
    };
    const action = actions[event.key];
    if (action && !event.ctrlKey && !event.metaKey && !event.altKey) {
      event.preventDefault();
      action();
    }
  }

  whole() {
    this.chosen = -1;
    this.move(0, this.all);
    this.say();
  }

  /// Chooses the next request that is kept, or the next one that failed.
  next(step, failed) {
    const wanted = (request) => !failed || request.ending === 'failed' || request.ending === 'refused';
    let at = this.chosen;
    if (at < 0) {
      at = step > 0 ? -1 : report.kept.length;
    }
    do {
      at += step;
    } while (at >= 0 && at < report.kept.length && !wanted(report.kept[at]));
    if (at >= 0 && at < report.kept.length) {
      this.choose(at, true);
    } else {
      this.status.replaceChildren(`There is no ${step > 0 ? 'later' : 'earlier'} ${failed ? 'failure' : 'request'} here.`);
    }
  }

  choose(at, zoom) {
    const request = report.kept[at];
    this.chosen = at;
    if (zoom) {
      const span = Math.max(request.endNs - request.startNs, NARROWEST_NS);
      this.move(request.startNs - span / 2, request.endNs + span / 2);
      const lane = this.lanes.find((one) => one.requests.includes(at));
      this.lanesBox.scrollTop = lane ? lane.top - 30 : 0;
    } else {
      this.render();
    }
    const group = report.failures.findIndex((one) => one.last === at);
    this.status.replaceChildren(
      make('strong', {}, nameOf(request)), ` started ${exactly(request.startNs)}, took ${duration(request.endNs - request.startNs)}, `
      + `process/thread ${whereOf(request)}, request ${idOf(request)}: `,
      make('span', {class: request.ending === 'succeeded' ? 'good' : 'bad'}, request.message || request.ending),
      ...(group < 0 ? [] : [' ', make('a', {href: '#failure-' + (group + 1)}, 'Its story')]));
  }

  show(at) {
    this.choose(at, true);
    this.box.scrollIntoView({block: 'center'});
    this.box.focus({preventScroll: true});
  }

  /// Dragging pans, two fingers zoom, a click chooses, the wheel zooms with Ctrl.
  drag() {
    const points = new Map();
    let moved = 0;
    const timeAt = (x) => this.from + (this.to - this.from)
      * (x - this.box.getBoundingClientRect().left - EDGE) / (this.width - 2 * EDGE);
    this.lanesBox.addEventListener('pointerdown', (event) => {
      points.set(event.pointerId, event.clientX);
      moved = 0;
    });
    this.lanesBox.addEventListener('pointermove', (event) => {
      const before = points.get(event.pointerId);
      if (before === undefined) {
        return;
      }
      const others = [...points].filter(([id]) => id !== event.pointerId);
      points.set(event.pointerId, event.clientX);
      moved += Math.abs(event.clientX - before);
      if (others.length === 0) {
        const by = (before - event.clientX) * (this.to - this.from) / this.width;
        this.move(this.from + by, this.to + by);
      } else {
        const other = others[0][1];
        const was = Math.max(8, Math.abs(before - other));
        this.zoom(was / Math.max(8, Math.abs(event.clientX - other)), timeAt(other));
      }
    });
    for (const end of ['pointerup', 'pointercancel', 'pointerleave']) {
      this.lanesBox.addEventListener(end, (event) => points.delete(event.pointerId));
    }
    this.lanesBox.addEventListener('click', (event) => {
      const at = moved < 5 && event.target.dataset ? event.target.dataset.at : undefined;
      if (at !== undefined) {
        this.choose(Number(at), false);
      }
    });
    this.lanesBox.addEventListener('dblclick', (event) => this.zoom(0.4, timeAt(event.clientX)));
    this.box.addEventListener('wheel', (event) => {
      if (event.ctrlKey || event.metaKey) {
        event.preventDefault();
        this.zoom(event.deltaY > 0 ? 1.25 : 0.8, timeAt(event.clientX));
      }
    }, {passive: false});
  }

  x(ns) {
    return EDGE + (ns - this.from) / (this.to - this.from) * (this.width - 2 * EDGE);
  }

  render() {
    // Without the bar that scrolls the threads.
    this.width = Math.max(50, this.lanesBox.clientWidth);
    for (const [svg, height] of [[this.axis, 24], [this.picture, this.height]]) {
      svg.setAttribute('width', this.width);
      svg.setAttribute('viewBox', `0 0 ${this.width} ${height}`);
    }
    this.box.dataset.from = Math.round(this.from);
    this.box.dataset.to = Math.round(this.to);
    const shown = `${exactly(this.from)} to ${exactly(this.to)}, ${this.lanes.length} threads`;
    this.picture.setAttribute('aria-label', shown);
    this.picture.replaceChildren(...this.ticks(), ...this.lanes.flatMap((lane) => this.lane(lane)));
  }

  /// Times at the top and their lines.
  ticks() {
    const span = this.to - this.from;
    const labelsMax = Math.max(2, Math.floor(this.width / 130));
    const step = stepOf(span / labelsMax);
    const offset = (originMicros % MICROS_PER_DAY * 1000 + originNanos) % step;
    const lines = [];
    const labels = [];
    const digits = step >= 1e9 ? 8 : Math.min(18, 9 + Math.ceil(9 - Math.log10(step) - 1e-9));
    for (let at = Math.ceil((this.from + offset) / step) * step - offset; at <= this.to; at += step) {
      const x = this.x(at);
      lines.push(draw('line', {class: 'grid', x1: x, x2: x, y1: 0, y2: this.height}));
      const [date, time, nanos] = wall(Math.max(0, Math.round(at)));
      const text = step >= 86400e9 ? date : (time + nanos).slice(0, digits);
      if (x > 2 && x < this.width - 80) {
        labels.push(draw('line', {class: 'grid', x1: x, x2: x, y1: 16, y2: 24}), draw('text', {class: 'soft', x: x + 3, y: 16}, text));
      }
    }
    this.axis.replaceChildren(...labels);
    return lines;
  }

  lane(lane) {
    const {thread} = lane;
    const name = (thread.process === 0 ? 'other threads' : `process/thread ${thread.process}/${thread.thread}`)
      + `: ${several(thread.requests, 'request', 'requests')}` + (thread.failed === 0 ? '' : `, ${count(thread.failed)} failed`)
      + (report.rings.length < 2 || thread.process === 0 ? '' : ', in ' + report.rings[thread.ring]);
    const top = lane.top + LABEL;
    const parts = [
      draw('line', {class: 'edge', x1: 0, x2: this.width, y1: lane.top, y2: lane.top}),
      draw('text', {x: 6, y: lane.top + 14}, name)];
    parts.push(...this.load(thread, top));
    const narrow = new Map();
    for (const [place, at] of lane.requests.entries()) {
      const request = report.kept[at];
      if (lane.ends[place] < this.from || request.startNs > this.to) {
        continue;
      }
      const failed = request.ending === 'failed' || request.ending === 'refused';
      this.bar(parts, narrow, at, {...request, failed, kind: 'request', depth: 0, title: nameOf(request)}, top + LOAD + 2);
      for (const slice of request.slices) {
        if (slice.depth < DEEPEST) {
          const title = slice.kind === 'row' ? `${slice.row.number} ${slice.rowCommand} ${slice.name}` : slice.name;
          this.bar(parts, narrow, at, {...slice, title}, top + LOAD + 2);
        }
      }
    }
    for (const [key, {d}] of narrow) {
      parts.push(draw('path', {class: key.split(' ')[0], d}));
    }
    return parts;
  }

  /// How busy a thread was; red where requests failed.
  load(thread, top) {
    let busy = '';
    let failed = '';
    for (const [at, , bad, busyNs] of thread.load) {
      const x = this.x(at * thread.bucketNs);
      const width = Math.max(1, this.x((at + 1) * thread.bucketNs) - x);
      if (x + width < 0 || x > this.width) {
        continue;
      }
      const height = Math.max(1.5, (LOAD - 4) * Math.min(1, busyNs / thread.bucketNs));
      const bar = (high) => `M${x.toFixed(2)} ${(top + LOAD - 2 - high).toFixed(2)}h${width.toFixed(2)}v${high.toFixed(2)}h-${width.toFixed(2)}z`;
      busy += bar(height);
      failed += bad === 0 ? '' : bar(Math.max(6, height * Math.min(1, bad / 10)));
    }
    return [draw('path', {class: 'k-load', d: busy}), draw('path', {class: 'k-failed', d: failed})];
  }

  /// One request or slice; those that are narrower than a pixel are drawn together.
  bar(parts, narrow, at, slice, top) {
    const left = Math.max(-2, this.x(slice.startNs));
    const width = Math.min(this.width + 2, this.x(slice.endNs)) - left;
    const y = top + slice.depth * STEP;
    const kind = slice.failed ? 'k-failed' : 'k-' + slice.kind;
    if (width < 1.5) {
      const key = kind + ' ' + slice.depth;
      const row = narrow.get(key) || {d: '', last: -9};
      if (left - row.last >= 1) {
        row.d += `M${left.toFixed(1)} ${y}h1.5v${STEP - 2}h-1.5z`;
        row.last = left;
        narrow.set(key, row);
      }
      return;
    }
    const chosen = at === this.chosen && slice.kind === 'request' ? ' chosen' : '';
    parts.push(draw('rect', {class: kind + chosen, x: left.toFixed(2), y, width: width.toFixed(2),
      height: STEP - 2, rx: Math.min(2, width / 3).toFixed(1), 'data-at': at},
    draw('title', {}, `${slice.title}, ${duration(slice.endNs - slice.startNs)}`)));
    const letters = Math.floor((width - 8) / 6.6);
    if (letters >= 4) {
      const text = slice.title.length > letters ? slice.title.slice(0, letters - 1) + '…' : slice.title;
      parts.push(draw('text', {class: 'in on-' + (slice.failed ? 'failed' : slice.kind), x: Math.max(left, 0) + 4, y: y + 11}, text));
    }
  }
}

let timeline = null;

function showTimeline() {
  timeline = new Timeline();
  const button = (text, label, action) => {
    const made = make('button', {type: 'button', 'aria-label': label}, text);
    made.addEventListener('click', action);
    return made;
  };
  const tools = make('div', {class: 'tools'},
    button('+', 'Zoom in', () => timeline.zoom(0.5)), button('−', 'Zoom out', () => timeline.zoom(2)),
    button('◀', 'Earlier', () => timeline.pan(-0.25)), button('▶', 'Later', () => timeline.pan(0.25)),
    button('All', 'Show all', () => timeline.whole()),
    button('Previous failure', undefined, () => timeline.next(-1, true)),
    button('Next failure', undefined, () => timeline.next(1, true)));
  const key = (name) => make('kbd', {}, name);
  const keys = make('p', {class: 'soft', id: 'line-keys'}, 'Keys: ', key('+'), ' ', key('−'), ' zoom, ', key('←'), ' ', key('→'),
    ' move, ', key('0'), ' all, ', key('n'), ' ', key('p'), ' next and previous failure, ', key('.'), ' ', key(','),
    ' next and previous request. A drag moves; two fingers or Ctrl with the wheel zoom.');
  const legend = make('div', {class: 'legend'}, [['load', 'how busy'], ['request', 'request'], ['table', 'table'], ['row', 'row'],
    ['hap', 'HAP'], ['failed', 'failed']].map(([kind, text]) =>
    make('span', {}, draw('svg', {viewBox: '0 0 12 12', 'aria-hidden': 'true'}, draw('rect', {class: 'k-' + kind, width: 12, height: 12, rx: 2})), text)));
  const folded = report.requests.all - report.kept.length;
  section('timeline', 'Timeline',
    make('p', {class: 'soft'}, folded <= 0 ? 'All requests are here with what ran in them.'
      : `The bars at the top of each thread count all ${count(report.requests.all)} requests. ${count(report.kept.length)} are kept with what `
        + `ran in them: the last ones, the last that failed, and the longest. The other ${count(folded)} are folded into the bars.`),
    keys, make('div', {class: 'box'}, tools, timeline.box, legend, timeline.status));
  timeline.render();
  timeline.say();
}
