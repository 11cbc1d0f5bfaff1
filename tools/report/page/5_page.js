// SPDX-License-Identifier: Apache-2.0
// The other sections, and the page as a whole.

function showHead() {
  const {requests} = report;
  const bad = requests.failed + requests.refused;
  const title = requests.all === 0 ? 'No request in the trace'
    : (bad === 0 && requests.open === 0 ? 'None' : count(bad)) + ` of ${several(requests.all, 'request', 'requests')} failed`
      + (requests.open === 0 ? '' : `; ${several(requests.open, 'has', 'have')} not ended`);
  document.title = title + ' – trace report';
  const [date, from] = wall(0);
  const [lastDate, to] = wall(report.endNs);
  const facts = [['succeeded', requests.succeeded, 'good'], ['failed', requests.failed, 'bad'], ['refused', requests.refused, 'bad'],
    ['waiting at the requester', requests.waits, ''], ['not ended', requests.open, 'suspect']]
    .filter(([, number]) => number > 0)
    .map(([text, number, kind]) => make('li', {}, make('b', {class: kind}, count(number)), ' ' + text));
  document.getElementById('head').append(
    make('h1', {class: bad > 0 ? 'bad' : requests.open > 0 ? 'suspect' : requests.all > 0 ? 'good' : undefined}, title),
    make('p', {}, make('strong', {}, report.rings.join(', '))),
    report.records === 0 ? make('p', {class: 'soft'}, 'There is no record in it.')
      : make('p', {class: 'soft'}, `${date} ${from.slice(0, 8)} to ${date === lastDate ? '' : lastDate + ' '}${to.slice(0, 8)} ${zone}, `
        + `${duration(report.endNs)}, ${several(report.records, 'record', 'records')}`),
    make('ul', {class: 'facts', id: 'counts'}, facts),
    ...report.missing.concat(report.leftOut).map((text) => make('p', {class: 'note', role: 'note'}, text)));
}

const FIGURE_COLUMNS = [['calls', 'number'], ['failures', 'number'], ['min', 'number'], ['median', 'number'], ['99 %', 'number'],
  ['max', 'number'], ['sum', 'number']];

function figures(one) {
  const number = one.calls === undefined ? one.count : one.calls;
  const failures = one.failures === undefined ? one.failed : one.failures;
  return [count(number), failures === 0 ? '0' : make('span', {class: 'bad'}, count(failures)),
    ...[one.minNs, one.medianNs, one.p99Ns, one.maxNs, one.sumNs].map(duration)];
}

function showStatistics() {
  const names = () => dataTable({text: 'Requests by name', unseen: true}, [['request', 'name'], ...FIGURE_COLUMNS],
    report.names.map((one) => [nameOf({...one, mode: ''}), ...figures(one)]));
  const haps = () => dataTable({text: 'HAPs', unseen: true},
    [['HAP', 'name'], ...FIGURE_COLUMNS, ['its own time', 'number'], ['held the lock', 'number'], ['waited for it', 'number']],
    report.haps.map((one) => [one.name, ...figures(one), duration(one.ownNs), duration(one.lockNs), duration(one.lockWaitNs)]));
  const longest = report.kept.slice().sort((a, b) => (b.endNs - b.startNs) - (a.endNs - a.startNs)).slice(0, 20);
  const slow = () => dataTable({text: 'The longest requests', unseen: true}, [['request', 'name'], ['took', 'number'], ['started', 'time'], ['process/thread'], ['id'], ['outcome']],
    longest.map((one) => [nameOf(one), duration(one.endNs - one.startNs), exactly(one.startNs), whereOf(one), idOf(one),
      one.ending]));
  const part = (title, label, table) => closedWhenNarrow(title, () => [scrolled(table(), label)]);
  section('statistics', 'Statistics', part('Requests by name', 'Requests by name', names),
    report.otherNames === 0 ? '' : make('p', {class: 'note'}, `${several(report.otherNames, 'request', 'requests')} of further names are only counted.`),
    part('HAPs, the longest time of their own first', 'HAPs', haps),
    report.otherHaps === 0 ? '' : make('p', {class: 'note'}, `${several(report.otherHaps, 'further HAP is', 'further HAPs are')} left out.`),
    part('The longest requests', 'The longest requests', slow));
}

function showConfiguration() {
  const {configuration} = report;
  const origin = (entry) => entry.file === '' ? 'default' : `${entry.file}:${entry.line}`;
  const values = () => dataTable({text: 'Values', unseen: true}, [['key'], ['value'], ['from']],
    configuration.values.map((entry) => [make('span', {class: 'code'}, entry.key), make('span', {class: 'code'}, entry.message), origin(entry)]), true);
  section('configuration', 'Configuration',
    make('p', {class: 'soft'}, `As it was on the machine of this report, ${report.made}.`),
    configuration.problem === '' ? '' : make('p', {class: 'note'}, configuration.problem),
    configuration.warnings.map((entry) => make('p', {class: 'note'}, `${origin(entry)}: ${entry.message}`)),
    configuration.values.length === 0 ? '' : closedWhenNarrow('Values', () => [values()]));
}

function showMachine() {
  const kinds = {ok: 'good', warning: 'suspect', error: 'bad'};
  section('machine', 'Versions and machine',
    make('p', {class: 'soft'}, `What trxctl doctor found on the machine of this report, ${report.made}.`),
    closedWhenNarrow('Findings', () => [dataTable({text: 'Findings', unseen: true}, [['subject'], ['verdict'], ['what was found'], ['what to do']],
      report.machine.map((one) => [one.subject, make('span', {class: kinds[one.severity]}, one.severity), one.message, one.advice]), true)]));
}

/// What is not shown one by one.
function showLeftOut() {
  const folded = report.requests.all - report.kept.length;
  const facts = [
    folded > 0 ? `${several(folded, 'request is', 'requests are')} folded into counts, statistics and the bars of the timeline.` : '',
    report.otherFailures > 0 ? `${several(report.otherFailures, 'failure', 'failures')} of kinds beyond the first ${report.failures.length} are only counted.` : '',
    report.threads.some((thread) => thread.process === 0) ? `The timeline has ${report.threads.length - 1} of ${count(report.threadsAll)} threads one by one; the others share a bar.` : '',
    report.tablesLeftOut > 0 ? `${several(report.tablesLeftOut, 'table is', 'tables are')} not shown.` : '',
    ...report.leftOut,
    ...report.missing,
  ].filter((text) => text !== '');
  section('left-out', 'Left out', facts.length === 0 ? make('p', {}, 'Nothing.') : make('ul', {}, facts.map((text) => make('li', {}, text))));
}

function makeRest() {
  const idle = window.requestIdleCallback || ((work) => setTimeout(() => work({timeRemaining: () => 8}), 1));
  const work = (deadline) => {
    while (notMade.length > 0 && deadline.timeRemaining() > 3) {
      notMade.shift()();
    }
    if (notMade.length > 0) {
      idle(work);
    } else {
      document.body.dataset.whole = 'yes';
    }
  };
  idle(work);
}

function openTarget() {
  const target = /^#failure-\d+$/.test(location.hash) ? document.getElementById(location.hash.slice(1)) : null;
  if (target) {
    target.open = true;
    target.scrollIntoView();
    target.querySelector('summary').focus({preventScroll: true});
  }
}

showHead();
showFailures();
showOpen();
showStories();
showTimeline();
showTables();
showStatistics();
showConfiguration();
showMachine();
showLeftOut();
document.getElementById('nav').append(make('ul', {}, sections.map(([id, title]) => make('li', {}, make('a', {href: '#' + id}, title)))));
document.getElementById('foot').append(`Made ${report.made} by ${report.tool}.`);
window.addEventListener('hashchange', openTarget);
openTarget();
document.body.dataset.drawn = String(Math.round(performance.now()));
makeRest();
