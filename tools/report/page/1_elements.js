// SPDX-License-Identifier: Apache-2.0
// The report, and how its numbers and times are written. Nothing of it becomes markup: elements are
// made one by one, and texts are texts.
'use strict';

const report = JSON.parse(document.getElementById('report').textContent);
const SVG = 'http://www.w3.org/2000/svg';
const MICROS_PER_DAY = 86400e6;

/// Fills an element: texts and elements become its children.
function fill(element, attributes, children) {
  for (const [name, value] of Object.entries(attributes || {})) {
    if (value !== undefined && value !== false) {
      element.setAttribute(name, value === true ? '' : value);
    }
  }
  for (const child of children.flat(Infinity)) {
    if (child !== null && child !== undefined && child !== '') {
      element.append(child);
    }
  }
  return element;
}

function make(tag, attributes, ...children) {
  return fill(document.createElement(tag), attributes, children);
}

function draw(tag, attributes, ...children) {
  return fill(document.createElementNS(SVG, tag), attributes, children);
}

/// 1234, but 12 345.
function count(number) {
  const digits = String(number);
  return number < 10000 ? digits : digits.replace(/\B(?=(\d{3})+$)/g, '\u202f');
}

/// TABLE/NUMBER of a row.
function rowName(row) {
  return (row.table || '?') + '/' + row.number;
}

/// A CHECK row finds a failure; any other row fails itself.
function failedText(row) {
  return row.rowCommand === 'CHECK' ? 'found a failure' : 'failed';
}

function times(number) {
  return number === 1 ? 'once' : count(number) + ' times';
}

function several(number, one, many) {
  return count(number) + ' ' + (number === 1 ? one : many);
}

function duration(ns) {
  if (ns >= 3600e9) {
    return Math.floor(ns / 3600e9) + ' h ' + Math.floor(ns % 3600e9 / 60e9) + ' min';
  }
  if (ns >= 60e9) {
    return Math.floor(ns / 60e9) + ' min ' + Math.floor(ns % 60e9 / 1e9) + ' s';
  }
  for (const [unit, size] of [['s', 1e9], ['ms', 1e6], ['µs', 1e3]]) {
    if (ns >= size) {
      const value = ns / size;
      return value.toFixed(value >= 100 ? 0 : value >= 10 ? 1 : 2) + ' ' + unit;
    }
  }
  return ns + ' ns';
}

/// How long after something a thing was.
function after(ns) {
  return (ns < 0 ? '−' : '+') + duration(Math.abs(ns));
}

/// The wall clock at the first record, in microseconds, as if its zone were that of 1970; and zone.
const [originMicros, zone] = (() => {
  const [, date, clock, micros, name] =
    /^(\S+) (\S+)\.(\d{6})(\S*)$/.exec(report.origin) || ['', '1970-01-01', '00:00:00', '000000', ''];
  return [Date.parse(date + 'T' + clock + 'Z') * 1000 + Number(micros), name];
})();

/// "2026-11-23", "10:24:03.120345" and the further nanoseconds, "678", of a time.
const originNanos = Number(report.originNs.slice(-3));
function wall(ns) {
  const nanos = ns + originNanos;
  const micros = originMicros + Math.floor(nanos / 1000);
  const iso = new Date(Math.floor(micros / 1000)).toISOString();
  const digits = (number) => String(number).padStart(3, '0');
  return [iso.slice(0, 10), iso.slice(11, 23) + digits(micros % 1000), digits(nanos % 1000)];
}

const isOneDay =
  Math.floor(originMicros / MICROS_PER_DAY) ===
  Math.floor((originMicros + report.endNs / 1000) / MICROS_PER_DAY);

/// A time with its date when the records are not of one day, and to the millisecond when they are of
/// less than a minute.
function clock(ns) {
  const [date, time] = wall(ns);
  return (isOneDay ? '' : date + ' ') + time.slice(0, report.endNs < 60e9 ? 12 : 8);
}

/// The same as an element that tells the time to the microsecond.
function clockOf(ns) {
  const [date, time] = wall(ns);
  return make('time', {title: date + ' ' + time + zone, class: 'time'}, clock(ns));
}

function exactly(ns) {
  const [date, time] = wall(ns);
  return (isOneDay ? '' : date + ' ') + time;
}

/// "table selftest", "HAP PSU_Set, mode fast".
function nameOf(request) {
  if (request.startLost) {
    return 'a table whose start is lost';
  }
  const known = request.name === '' ? (request.kind === 'table' ? 'a table' : 'a request')
    : (request.kind === 'table' ? 'table ' : 'HAP ') + request.name;
  return known + (request.mode ? ', mode ' + request.mode : '');
}

/// The process and thread, with the ring when there are several.
function whereOf(request) {
  return `${request.process}/${request.thread}` + (report.rings.length < 2 ? '' : ' in ' + (report.rings[request.ring] || 'ring ' + (request.ring + 1)));
}

function idOf(request) {
  return request.request + (request.requestNumber === 0 ? '' : '.' + request.requestNumber);
}

/// A table of data. `columns`: [title, class]; `rows`: lists of cells, or {cells, class}. The first
/// cell of a row names it. On a narrow screen a row becomes a card with `cards`: a line a cell, or
/// with `cards` of 'flow' one cell behind the other.
function dataTable(caption, columns, rows, cards) {
  const body = make('tbody', cards ? {role: 'rowgroup'} : {});
  for (const row of rows) {
    const line = make('tr', {class: row.class, role: cards ? 'row' : undefined});
    (row.cells || row).forEach((cell, at) => {
      const first = at === 0;
      line.append(make(first ? 'th' : 'td', {
        scope: first ? 'row' : undefined, class: columns[at][1], 'data-label': columns[at][0],
        role: cards ? (first ? 'rowheader' : 'cell') : undefined,
      }, cards ? make('span', {}, cell) : cell));
    });
    body.append(line);
  }
  const heads = columns.map(([title, kind]) =>
    make('th', {scope: 'col', class: kind, role: cards ? 'columnheader' : undefined}, title));
  const table = make('table', cards ? {class: cards === 'flow' ? 'flow-cards' : 'cards', role: 'table'} : {},
    make('caption', {class: caption.unseen ? 'unseen' : undefined}, caption.text || caption),
    make('thead', cards ? {role: 'rowgroup'} : {}, make('tr', cards ? {role: 'row'} : {}, heads)), body);
  return table;
}

/// Whether the screen is as narrow as that of a phone, where what is not urgent starts closed.
const isNarrow = matchMedia('(max-width: 46rem)').matches;

/// A table that scrolls by itself where it is too wide.
function scrolled(table, label) {
  return make('div', {class: 'wide box', tabindex: '0', role: 'region', 'aria-label': label}, table);
}

/// A part that can be opened. Its content is made when it is opened first, or when the browser
/// has nothing else to do, so that a search of the page finds it.
const notMade = [];
function folding(attributes, head, content) {
  const inside = make('div', {class: 'inside'});
  const part = make('details', attributes, make('summary', {}, head), inside);
  let wanted = true;
  const once = () => {
    if (wanted) {
      wanted = false;
      inside.append(...content());
    }
  };
  if (attributes.open) {
    once();
  } else {
    part.addEventListener('toggle', once);
    notMade.push(once);
  }
  return part;
}

/// A part that starts closed on a narrow screen.
function closedWhenNarrow(title, content) {
  return folding({class: 'box', open: !isNarrow}, make('h3', {}, title), content);
}

/// Adds a section with its heading.
const sections = [];
function section(id, title, ...children) {
  const part = make('section', {id, 'aria-labelledby': id + '-title'},
    make('h2', {id: id + '-title'}, title), children);
  sections.push([id, title]);
  document.getElementById('main').append(part);
  return part;
}
