// SPDX-License-Identifier: Apache-2.0
// What failed: one line for equal failures, what has not ended, and the story of the last failure
// of each kind.

const OPEN_REQUESTS = 20;

/// Where a request failed.
function placeOf(group) {
  return group.firstFailingRow ? rowName(group.firstFailingRow) : '';
}

/// The code and what it means, or what happened when there is no code.
function causeOf(group) {
  if (group.code === '') {
    return [group.event || group.endedBy];
  }
  return [make('span', {class: 'code'}, group.code),
    group.meaning === '' ? '' : ' ' + group.meaning, group.thrown ? ' (thrown)' : ''];
}

/// Bars of how many failed when.
function sparkOf(group) {
  const span = Math.max(report.endNs, 1);
  const max = Math.max(...group.times.map(([, number]) => number));
  const width = Math.max(2, 200 * group.bucketNs / span);
  const bars = group.times.map(([at, number]) => {
    const height = Math.max(4, 24 * number / max);
    const x = Math.min(200 - width, 200 * at * group.bucketNs / span);
    return `M${x.toFixed(2)} ${(26 - height).toFixed(2)}h${width.toFixed(2)}v${height.toFixed(2)}h-${width.toFixed(2)}z`;
  });
  return draw('svg', {class: 'spark', viewBox: '0 0 200 28', preserveAspectRatio: 'none', role: 'img',
    'aria-label': `when: first ${clock(group.firstNs)}, last ${clock(group.lastNs)}`},
  draw('line', {x1: 0, y1: 27, x2: 200, y2: 27}), draw('path', {d: bars.join('')}));
}

function overview() {
  const columns = [['times'], ['request', 'name'], ['at row', 'name'], ['HAP', 'name'], ['code', 'text'],
    ['first'], ['last'], ['when']];
  const rows = report.failures.map((group, at) => [
    make('span', {class: 'count'}, count(group.count) + '×'),
    make('a', {href: '#failure-' + (at + 1)}, nameOf(report.kept[group.last])),
    placeOf(group) === '' ? '' : make('span', {class: 'code'}, placeOf(group)),
    group.hap === '' ? '' : make('span', {class: 'code'}, group.hap),
    causeOf(group), clockOf(group.firstNs), clockOf(group.lastNs), sparkOf(group)]);
  return dataTable({text: 'Requests that failed, equal ones together', unseen: true}, columns, rows, true);
}

/// Whether it still happens, as far as requests of that name tell.
function stillText(group) {
  const last = clock(group.lastNs);
  return group.succeededAfterNs === null
    ? `not known to be over: no such request has succeeded since the last failure at ${last}`
    : `not since ${last}: such a request succeeded again, last at ${clock(group.succeededAfterNs)}`;
}

function sinceText(group) {
  const before = group.succeededBeforeNs === null ? 'no such request had succeeded before'
    : 'such a request had succeeded before, last at ' + clock(group.succeededBeforeNs);
  return `${clock(group.firstNs)}; ${before}`;
}

/// The units of the last failures of a group.
function unitsOf(group) {
  const units = [...new Set(group.recent.flatMap((one) => one.units))];
  const text = units.join(', ') + (group.recent.some((one) => one.moreUnits) ? ' and others' : '');
  return text === '' || group.recent.length === group.count ? text
    : `${text} (in the last ${several(group.recent.length, 'failure', 'failures')})`;
}

function remedyOf(group) {
  return group.advice !== '' || group.code === '' || group.hap === '' ? group.advice
    : `no advice is known for code ${group.code} of ${group.hap}; the documentation of its module may have some`;
}

/// The rows of a request, with the HAPs inside of them.
function ranTable(request) {
  const rows = request.slices.map((slice) => ({
    class: slice.failed ? 'failed' : undefined,
    cells: [
      after(slice.startNs - request.startNs),
      make('span', {class: 'code deep' + Math.min(slice.depth, 5)},
        slice.kind === 'row' ? `${rowName(slice.row)} ${slice.rowCommand}`
          : slice.kind === 'table' ? 'table' : 'HAP',
        slice.name === '' ? '' : ' ' + slice.name),
      duration(slice.endNs - slice.startNs),
      slice.failed ? failedText(slice) + (slice.code ? ' ' + slice.code : '') : slice.cut ? 'end not known'
        : slice.kind === 'table' ? '' : 'ok'],
  }));
  if (request.slicesLeftOut) {
    rows.unshift({class: 'fold', cells: ['', several(request.slicesLeftOut, 'earlier step is', 'earlier steps are') + ' left out', '', '']});
  }
  return dataTable({text: 'What ran', unseen: true},
    [['after', 'number'], ['step'], ['took', 'number'], ['result']], rows, 'flow');
}

function recordsTable(group, request) {
  const rows = group.records.map((record) => ({
    class: record.level === 'error' ? 'failed' : undefined,
    cells: [after(record.timeNs - request.startNs), record.level, record.message],
  }));
  if (group.recordsLeftOut) {
    rows.splice(group.leftOutAt, 0, {class: 'fold', cells: ['', '', several(group.recordsLeftOut, 'record is', 'records are') + ' left out here']});
  }
  return dataTable({text: 'Records of the request', unseen: true}, [['after', 'number'], ['level'], ['record', 'text']], rows, 'flow');
}

function recentTable(group) {
  const rows = group.recent.slice().reverse().map((one) =>
    [exactly(one.startNs), duration(one.endNs - one.startNs), whereOf(one), idOf(one),
      one.units.join(', ') + (one.moreUnits ? ' and others' : '')]);
  return dataTable(group.recent.length < group.count
    ? `The last ${group.recent.length} of ${count(group.count)}; the others are only counted` : 'All of them',
  [['started', 'time'], ['took', 'number'], ['process/thread'], ['request'], ['units']], rows, true);
}

/// Terms with what is known of them; those without anything are left out.
function factList(facts) {
  return make('dl', {}, facts.filter(([, fact]) => fact !== '' && fact !== undefined && fact.length !== 0)
    .map(([term, fact]) => [make('dt', {}, term), make('dd', {}, fact)]));
}

function story(group) {
  const request = report.kept[group.last];
  const facts = [
    ['what failed', make('strong', {class: 'bad'}, group.message)],
    ['since', sinceText(group)],
    ['still happening?', stillText(group)],
    ['unit', unitsOf(group)],
    ['what to do', remedyOf(group)],
    ['the table since', group.fileChanged.map((text) => make('p', {class: 'note'}, text + ' – other than what ran here'))],
    ['how often', times(group.count)],
    ['row', placeOf(group)], ['HAP', group.hap],
    ['code', group.code === '' ? '' : group.code + (group.meaning === '' ? '' : ', ' + group.meaning)
      + (group.thrown ? ', thrown as an exception' : '')],
    ['detail', group.detail.replace(/^detail: /, '')], ['ended by', group.endedBy],
    ['usual causes', group.causes],
    ['the last one', `${exactly(request.startNs)}, took ${duration(request.endNs - request.startNs)}, `
      + `process/thread ${whereOf(request)}, request ${idOf(request)}`],
  ];
  const show = make('button', {type: 'button'}, 'Show it in the timeline');
  show.addEventListener('click', () => timeline.show(group.last));
  const part = (title, label, table) => folding({class: 'part', open: !isNarrow}, make('h4', {}, title),
    () => [scrolled(table, label)]);
  return [factList(facts), show,
    request.slices.length === 0 ? make('p', {class: 'soft'}, 'Nothing ran in the last one.')
      : part('What ran in the last one', 'What ran in it', ranTable(request)),
    part('Its records', 'Its records', recordsTable(group, request)),
    part('When it happened', 'When it happened', recentTable(group))];
}

function showStories() {
  if (report.failures.length === 0) {
    return;
  }
  section('stories', 'Failures one by one', report.failures.map((group, at) => {
    const request = report.kept[group.last];
    const where = [placeOf(group), group.hap].filter((part) => part !== '').join(', ');
    return folding({class: 'story box', id: 'failure-' + (at + 1), open: at === 0},
      [make('h3', {}, `${count(group.count)}× ${nameOf(request)}`),
        make('span', {class: 'soft'}, where, where === '' ? '' : ': ', causeOf(group))],
      () => story(group));
  }));
}

/// What an open request did most often, and where it kept failing.
function oftenOf(request) {
  return [request.often, request.repeated].filter((text) => text !== '').join('; ');
}

function longestOf({longest}) {
  return longest === undefined ? '' : [make('span', {class: 'code'},
    `${rowName(longest.row)} ${longest.rowCommand}` + (longest.name === '' ? '' : ' ' + longest.name)),
    `: ${duration(longest.ns)}` + (longest.runs > 1 ? ` in ${count(longest.runs)} runs` : '')];
}

/// Requests that may hang, or whose process ended; those that started first stand first.
function showOpen() {
  const all = report.requests.open;
  if (all === 0) {
    return;
  }
  const rows = report.kept.filter((request) => request.ending === 'open').slice(0, OPEN_REQUESTS).map((request) => [
    nameOf(request), duration(report.endNs - request.startNs),
    [make('span', {class: 'time'}, exactly(request.endNs)), ': ' + request.lastRecord],
    oftenOf(request), longestOf(request), exactly(request.startNs), whereOf(request), idOf(request)]);
  section('open', 'Not ended',
    make('p', {}, `The rings do not have the end of ${several(all, 'request', 'requests')}: `
      + (all === 1 ? 'it still ran, hung, or its process ended.' : 'they still ran, hung, or their processes ended.')
      + (rows.length < all ? ` Here are ${rows.length} of them.` : '')),
    make('div', {class: 'wide box'}, dataTable({text: 'Requests that have not ended', unseen: true},
      [['request', 'name'], ['for at least'], ['last record'], ['ran most often'], ['took longest'],
        ['started', 'time'], ['process/thread'], ['id', 'time']], rows, true)));
}

function showFailures() {
  const parts = report.failures.length === 0
    ? [make('p', {class: report.requests.all === 0 ? 'suspect' : 'good'}, report.requests.all === 0
      ? 'No request is in the rings; they must have records of the level info.'
      : 'No request failed.')]
    : [make('div', {class: 'wide box', id: 'overview'}, overview()),
      report.otherFailures === 0 ? '' : make('p', {class: 'note'},
        `${several(report.otherFailures, 'further failure is', 'further failures are')} of other kinds; they are only counted.`)];
  section('failures', 'Failures', parts);
}
