// SPDX-License-Identifier: Apache-2.0
// The tables with what ran of them: rows as they stand in the file, jumps as arrows at the side.

const JUMP_WIDTH = 9;

/// Gives each jump a track of its own where it would cross others.
function tracksOf(rows) {
  const place = new Map(rows.map((row, at) => [row.at, at]));
  const jumps = rows.filter((row) => row.jump !== undefined && place.has(row.jump))
    .map((row) => ({from: place.get(row.at), to: place.get(row.jump), taken: row.errors > 0}))
    .sort((a, b) => Math.abs(a.from - a.to) - Math.abs(b.from - b.to));
  const ends = [];
  for (const jump of jumps) {
    const [low, high] = [Math.min(jump.from, jump.to), Math.max(jump.from, jump.to)];
    jump.track = ends.findIndex((spans) => spans.every(([a, b]) => high < a || low > b));
    if (jump.track < 0) {
      jump.track = ends.length;
      ends.push([]);
    }
    ends[jump.track].push([low, high]);
  }
  return {jumps, tracks: Math.min(ends.length, 12)};
}

/// Draws the jumps beside the rows of a table, which it must stand in.
function drawJumps(svg, table, jumps, tracks) {
  const lines = table.tBodies[0].rows;
  const middle = (at) => lines[at].offsetTop + lines[at].offsetHeight / 2;
  svg.setAttribute('width', tracks * JUMP_WIDTH + 6);
  svg.setAttribute('height', table.offsetHeight);
  svg.replaceChildren(...jumps.flatMap(({from, to, taken, track}) => {
    const right = tracks * JUMP_WIDTH + 5;
    const x = right - 4 - (track % 12 + 1) * JUMP_WIDTH + 4;
    const [y1, y2] = [middle(from) + 4, middle(to) - 4];
    const kind = taken ? 'taken' : undefined;
    return [draw('path', {class: kind, d: `M${right} ${y1}H${x}V${y2}H${right - 3}`}),
      draw('path', {class: 'head' + (taken ? ' taken' : ''), d: `M${right + 2} ${y2}l-6 -4v8z`})];
  }));
}

function resultOf(row) {
  if (row.runs === 0) {
    return 'never ran';
  }
  const failures = row.failures || 0;
  return failures === 0 ? '' : count(failures) + ' ' + failedText(row);
}

function rowTable(table) {
  const label = new Map(table.rows.map((row) => [row.at, row.number]));
  const columns = [['NUMBER'], ['LABEL'], ['COMMAND'], ['NAME', 'name'], ['MODE'], ['ERROR'], ['PARA'], ['runs', 'number'],
    ['failures'], ['median', 'number'], ['max', 'number']];
  const rows = table.rows.map((row) => {
    const jump = row.jump === undefined ? row.error
      : [row.error, make('span', {class: 'soft'}, ` → ${label.get(row.jump) || '?'}`)];
    return {
      class: row.runs === 0 ? 'never' : row.failures ? 'failed' : undefined,
      cells: [make('span', {class: 'code'}, row.number), row.label, row.rowCommand, make('span', {class: 'code'}, row.name), row.mode, jump,
        make('span', {class: 'code'}, row.para), count(row.runs), resultOf(row),
        row.medianNs === undefined || row.runs === 0 ? '' : duration(row.medianNs),
        row.maxNs === undefined || row.runs === 0 ? '' : duration(row.maxNs)],
    };
  });
  return dataTable({text: 'Rows of table ' + table.name, unseen: true}, columns, rows);
}

/// Rows as they ran, without the file.
function ranRows(caption, rows) {
  return dataTable(caption, [['NUMBER'], ['COMMAND'], ['NAME', 'name'], ['runs', 'number'], ['failures'],
    ['median', 'number'], ['max', 'number']], rows.map((row) => ({
    class: row.failures ? 'failed' : undefined,
    cells: [make('span', {class: 'code'}, row.number), row.rowCommand, make('span', {class: 'code'}, row.name), count(row.runs), resultOf(row),
      duration(row.medianNs), duration(row.maxNs)],
  })));
}

function tableContent(table) {
  const notes = [];
  if (!table.known) {
    notes.push(table.name === '' ? 'They started before the first record.' : 'The file of this table is not known here; these are the rows that ran.');
  }
  if (table.foreignRuns !== 0) {
    notes.push(`${times(table.foreignRuns)} a row ran that does not stand so in the file: another one was loaded then.`);
  }
  if (table.rowsLeftOut !== 0) {
    notes.push(`${several(table.rowsLeftOut, 'row is', 'rows are')} left out here, those that never ran first.`);
  }
  const {jumps, tracks} = tracksOf(table.rows);
  const rows = table.known ? rowTable(table) : ranRows({text: 'Rows of table ' + table.name, unseen: true}, table.rows);
  const svg = draw('svg', {'aria-hidden': 'true'});
  const flow = make('div', {class: 'flow'}, svg, rows);
  if (jumps.length > 0) {
    rows.style.marginLeft = tracks * JUMP_WIDTH + 8 + 'px';
    rows.style.width = `calc(100% - ${tracks * JUMP_WIDTH + 8}px)`;
    new ResizeObserver(() => drawJumps(svg, rows, jumps, tracks)).observe(rows);
  }
  return [...notes.map((text) => make('p', {class: 'note'}, text)),
    table.file === '' ? '' : make('p', {class: 'soft'}, table.file),
    make('div', {class: 'wide', tabindex: '0', role: 'region', 'aria-label': 'Rows of table ' + table.name}, flow),
    table.foreign.length === 0 ? '' : make('div', {class: 'wide foreign', tabindex: '0', role: 'region', 'aria-label': 'Other rows of table ' + table.name},
      ranRows('Ran in this table, but do not stand so in the file', table.foreign))]
    .filter((part) => part !== '');
}

function showTables() {
  const parts = report.tables.map((table) => {
    const ran = table.rows.filter((row) => row.runs > 0).length;
    const failures = [...table.rows, ...table.foreign].filter((row) => row.rowCommand !== 'CHECK').reduce((sum, row) => sum + (row.failures || 0), 0);
    const all = table.rows.length + table.rowsLeftOut;
    return folding({class: 'box', open: failures > 0 && table.rows.length < 100 && !isNarrow},
      [make('h3', {}, table.name === '' ? 'Tables whose names are lost' : 'Table ' + table.name),
        make('span', {class: 'soft'}, table.known ? `${count(ran)} of ${several(all, 'row', 'rows')} ran` : `${several(ran, 'row', 'rows')} ran`,
          failures === 0 ? '' : [', ', make('span', {class: 'bad'}, several(failures, 'failure', 'failures'))])],
      () => tableContent(table));
  });
  const about = 'Rows as they stand in the file. A solid red arrow is a jump that was taken after a failure, a dashed one was not. '
    + 'Rows that never ran are pale.';
  section('tables', 'Tables', report.tables.length === 0 ? make('p', {class: 'soft'}, 'No table ran.') : make('p', {class: 'soft'}, about),
    parts, report.tablesNotRun.length === 0 ? ''
      : make('p', {class: 'soft'}, 'Did not run: ', report.tablesNotRun.join(', ')));
}
