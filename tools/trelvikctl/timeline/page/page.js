// The page around the chart: filter, list, the chosen request, keys, and paper.
const ROW = 24, MOST_ON_PAPER = 500;
const element = id => document.getElementById(id);
const root = document.documentElement;
const model = unpack(JSON.parse(element('data').textContent));
const chart = new Chart(element('chart'), model);
let shown = model.requests;

function add(parent, tag, text, className = '') {
  const child = parent.appendChild(document.createElement(tag));
  child.textContent = text;
  if (className) child.className = className;
  return child;
}

function fields(request) {
  const all = request.arrived === request.arrivedLast ? ms(model, request.arrived, request.replied) : '-';
  return [request.number, clock(model, request.from), request.kind, request.ports.join(',') || '-',
    request.messages.length, all, request.reason ? `${request.ending}: ${request.reason}` : request.ending];
}

function addRow(parent, request) {
  const row = add(parent, 'div', '', 'row' + (request === chart.chosen ? ' chosen' : ''));
  fields(request).forEach((text, index) => add(row, 'span', text, index === 6 && bad(request) ? 'bad' : ''));
  row.dataset.number = request.number;
  return row;
}

// Only the rows that can be seen are there.
function fillList(everything = false) {
  const list = element('list');
  list.querySelectorAll('.row').forEach(row => row.remove());
  element('space').style.height = `${shown.length * ROW}px`;
  const first = everything ? 0 : Math.max(Math.floor(list.scrollTop / ROW) - 2, 0);
  const rows = shown.slice(first, first + (everything ? MOST_ON_PAPER : 24));
  rows.forEach((request, index) => { addRow(list, request).style.top = `${(first + index) * ROW}px`; });
  const left = everything ? shown.length - rows.length : 0;
  element('left-out').textContent = left ? `${left} more requests are not printed: filter for those that you want.` : '';
}

const since = (request, time) => time === null ? 'not in the log' : `${clock(model, time)}  +${ms(model, request.from, time)} ms`;

function addTimes(parent, request, times) {
  const table = add(parent, 'table', '');
  for (const [name, time] of times) {
    const row = add(table, 'tr', '');
    add(row, 'td', name);
    add(row, 'td', typeof time === 'string' ? time : since(request, time));
  }
}

function arrival(request) {
  if (request.arrived === request.arrivedLast) return request.arrived;
  return `between ${clock(model, request.arrived)} and ${clock(model, request.arrivedLast)}`;
}

const decoded = message => message ? [message.request && `to ISS: ${message.request}`,
  message.answer ? `answer: ${message.answer}` : message.dump && `answer, as the log has it:\n${message.dump}`]
  .filter(Boolean).join('\n') || 'what it says is neither in the log nor in a capture' : '';

function fillDetails() {
  const details = element('details'), request = chart.chosen;
  details.textContent = '';
  if (!request) return void add(details, 'p', 'No request is chosen.');
  add(details, 'h2', `Request ${request.number}: ${request.kind}, ${request.ending}`);
  if (request.reason) add(details, 'p', request.reason, bad(request) ? 'bad' : '');
  add(details, 'p', request.asks);
  addTimes(details, request, [['arrived', arrival(request)], ['worker begins', request.workBegin],
    ['worker ends', request.workEnd], ['replied', request.replied]]);
  request.messages.forEach((message, index) => {
    add(details, 'h3', `Message ${index + 1} of ${request.messages.length}: ${message.type || 'type not told'}, slot ` +
      (message.slot < 0 ? 'not told' : message.slot));
    if (message.refusal) add(details, 'p', `ISS refused it: ${message.refusal}`, 'bad');
    addTimes(details, request, [['in the ring', message.queued], ['sender takes it', message.sendBegin], ['sent', message.sent],
      ['answer found', message.answered], ['answer handled', message.handled]]);
    add(details, 'pre', decoded(message));
  });
}

function choose(request) {
  chart.chosen = request;
  if (request) {
    const top = shown.indexOf(request) * ROW, list = element('list');
    if (top < list.scrollTop || top > list.scrollTop + list.clientHeight - ROW) list.scrollTop = top - 4 * ROW;
    if (request.from < chart.from || request.to > chart.to) chart.look(request.from, request.to);
  }
  fillDetails();
  fillList();
  chart.draw();
}

// What is asked for stands in the address too, so that it can be passed on.
function filter() {
  const wanted = {};
  for (const name of ['request', 'port', 'type']) if (element(name).value.trim()) wanted[name] = element(name).value.trim();
  shown = chart.shown = model.requests.filter(one => passes(one, wanted));
  element('shown').textContent = `${shown.length} of ${model.requests.length}`;
  root.dataset.shown = shown.length;
  history.replaceState(null, '', '#' + new URLSearchParams(wanted));
  choose(shown.length === 1 ? shown[0] : shown.includes(chart.chosen) ? chart.chosen : null);
  if (shown.length === 1) acts.closer();
}

function readAddress() {
  const wanted = new URLSearchParams(location.hash.slice(1));
  for (const name of ['request', 'port', 'type']) element(name).value = wanted.get(name) ?? '';
  filter();
}

function tell(event) {
  const tip = element('tip'), found = chart.at(event.offsetX, event.offsetY);
  tip.hidden = !found;
  if (!found) return;
  if (found.marks) tip.textContent = found.marks.map(one => `${clock(model, one.time)} ${one.kind}: ${one.text}`).join('\n');
  else if (!found.request) tip.textContent = `${found.used} of 20 places taken`;
  else tip.textContent = [`${found.request.number}: ${found.request.kind}, ${found.request.ending}; ${LANES[found.lane]}`,
    decoded(found.message) || found.request.asks].join('\n');
  const right = event.offsetX > chart.width / 2;
  tip.style.left = right ? 'auto' : `${event.offsetX + 14}px`;
  tip.style.right = right ? `${chart.width - event.offsetX + 14}px` : 'auto';
  tip.style.top = `${event.offsetY + 14}px`;
}

function step(by) {
  const at = shown.indexOf(chart.chosen);
  if (shown.length) choose(shown[Math.min(Math.max(at < 0 ? 0 : at + by, 0), shown.length - 1)]);
}

const acts = {left: () => chart.move(-0.25), right: () => chart.move(0.25), in: () => chart.zoom(0.5),
  out: () => chart.zoom(2), all: () => chart.all(), up: () => step(-1), down: () => step(1), none: () => choose(null),
  closer: () => chart.chosen && chart.look(chart.chosen.from, chart.chosen.to)};
const keys = {ArrowLeft: 'left', ArrowRight: 'right', '+': 'in', '=': 'in', '-': 'out', 0: 'all', ArrowUp: 'up',
  ArrowDown: 'down', Escape: 'none', Enter: 'closer'};

function listen() {
  const canvas = element('chart');
  let held = null;
  document.addEventListener('keydown', event => {
    const act = keys[event.key];
    if (!act || event.ctrlKey || event.metaKey || event.altKey || event.target.closest('input, select, button')) return;
    event.preventDefault();
    acts[act]();
  });
  canvas.addEventListener('wheel', event => {
    event.preventDefault();
    if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) chart.move((event.deltaX || event.deltaY) / 1000);
    else chart.zoom(event.deltaY > 0 ? 1.25 : 0.8, chart.time(event.offsetX));
  }, {passive: false});
  canvas.addEventListener('pointerdown', event => { held = event.offsetX; canvas.setPointerCapture(event.pointerId); });
  canvas.addEventListener('pointermove', event => {
    if (held === null) return tell(event);
    chart.move((held - event.offsetX) / (chart.width - LEFT));
    held = event.offsetX;
  });
  canvas.addEventListener('pointerup', () => { held = null; });
  canvas.addEventListener('pointerleave', () => { element('tip').hidden = true; });
  canvas.addEventListener('click', event => {
    const found = chart.at(event.offsetX, event.offsetY);
    if (found?.request) choose(found.request);
  });
  element('list').addEventListener('scroll', () => fillList());
  element('list').addEventListener('click', event => {
    const row = event.target.closest('.row');
    if (row) choose(model.requests[row.dataset.number - 1]);
  });
  element('filter').addEventListener('input', filter);
  element('filter').addEventListener('submit', event => event.preventDefault());
  element('filter').addEventListener('click', event => acts[event.target.dataset.act]?.());
  addEventListener('hashchange', readAddress);
  addEventListener('resize', () => chart.draw());
  for (const colours of ['(prefers-color-scheme: dark)', 'print']) {
    matchMedia(colours).addEventListener('change', () => chart.drawNow());
  }
  addEventListener('beforeprint', () => { fillList(true); chart.drawNow(); });
  addEventListener('afterprint', () => { fillList(); chart.draw(); });
}

function fillPage() {
  element('summary').textContent = model.summary;
  model.notes.forEach(note => add(element('notes'), 'li', note));
  const kinds = new Set(model.requests.map(one => one.kind));
  const types = new Set(model.requests.flatMap(one => one.messages.map(message => message.type)).filter(Boolean));
  [...kinds, ...[...types].sort()].forEach(name => { add(element('type'), 'option', name).value = name; });
  const legend = {...KINDS, 'other request': '--other', 'refused, failed': '--bad', silence: '--silence', reconnect: '--reconnect',
    kick: '--kick', 'state, link': '--state'};
  for (const [name, colour] of Object.entries(legend)) {
    const entry = add(element('legend'), 'span', '');
    add(entry, 'i', '').style.background = `var(${colour})`;
    entry.append(name);
  }
}

fillPage();
listen();
readAddress();
requestAnimationFrame(() => { root.dataset.readyMs = performance.now().toFixed(0); });
