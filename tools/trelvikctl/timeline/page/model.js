'use strict';
// The data as the program packs them, made into requests and what is drawn of them. Times are microseconds after `t0`.
const LANES = ['caller', 'bus thread', 'worker', 'ring', 'sender', 'OPS', 'main'];
const [CALLER, BUS, WORKER, RING, SENDER, OPS, MAIN] = LANES.keys();

function unpack(packed) {
  const text = index => packed.texts[index];
  const requests = packed.requests.map((row, index) => {
    const [kind, ending, arrived, arrivedLast, workBegin, workEnd, replied, asks, reason, ports, messages] = row;
    return {
      number: index + 1, kind: packed.kinds[kind], ending: packed.endings[ending], arrived, arrivedLast, workBegin, workEnd,
      replied, asks: text(asks), reason: text(reason), ports,
      messages: messages.map(([slot, type, queued, sendBegin, sent, captured, answerCaptured, answered, handled, refusal,
        request, answer, dump]) => ({
        slot, type: text(type), queued, sendBegin, sent, captured, answerCaptured, answered, handled, refusal: text(refusal),
        request: text(request), answer: text(answer), dump: text(dump)})),
    };
  });
  requests.forEach(addDrawing);
  return {
    t0: packed.t0, digits: packed.digits, requests, ring: packed.ring, notes: packed.notes, summary: packed.summary,
    marks: packed.marks.map(([time, kind, what]) => ({time, kind: packed.markKinds[kind], text: text(what)})),
  };
}

// `bars`: [lane, from, to, message or null, pale]. `path`: [lane, time]. Only what the log tells.
function addDrawing(request) {
  const bars = [], path = [];
  const bar = (lane, from, to, message = null, pale = false) => {
    if (from !== null && to !== null && to >= from) bars.push([lane, from, to, message, pale]);
  };
  const point = (lane, time) => { if (time !== null) path.push([lane, time]); };
  const certain = request.arrived === request.arrivedLast;
  const arrivesAt = request.kind === 'debug socket' ? MAIN : BUS;
  if (certain) {
    bar(CALLER, request.arrived, request.replied);
    point(CALLER, request.arrived);
    point(arrivesAt, request.arrived);
  }
  bar(arrivesAt, request.arrived, request.arrivedLast, null, !certain);
  bar(WORKER, request.workBegin, request.workEnd ?? request.workBegin);
  point(WORKER, request.workBegin);
  request.messages.forEach((message, index) => {
    bar(RING, message.queued, message.sendBegin, message);
    bar(SENDER, message.sendBegin, message.sent, message);
    bar(OPS, message.sent, message.answered, message);
    bar(MAIN, message.answered, message.handled, message);
    if (index === 0) point(RING, message.queued);
    point(SENDER, message.sendBegin);
    point(OPS, message.sent);
    point(MAIN, message.answered);
  });
  point(CALLER, request.replied);
  const times = [...bars.flatMap(one => [one[1], one[2]]), ...path.map(one => one[1])];
  const firsts = request.messages.flatMap(message => [message.queued, message.sendBegin]);
  for (const time of [request.arrived, request.workBegin, ...firsts]) if (time !== null) times.push(time);
  request.from = times.reduce((a, b) => Math.min(a, b), Infinity);
  request.to = times.reduce((a, b) => Math.max(a, b), -Infinity);
  request.bars = bars;
  request.path = path;
}

// Whether a request is one that the filter asks for.
function passes(request, filter) {
  if (filter.port && !request.ports.includes(Number(filter.port))) return false;
  if (filter.type && request.kind !== filter.type && !request.messages.some(one => one.type === filter.type)) return false;
  if (!filter.request) return true;
  if (/^\d+$/.test(filter.request)) return request.number === Number(filter.request);
  const wanted = filter.request.toLowerCase();
  return [request.asks, request.reason, request.ending, request.kind, ...request.messages.map(one => one.type)]
    .some(text => text.toLowerCase().includes(wanted));
}

const bad = request => ['refused', 'failed', 'given up'].includes(request.ending);
const ms = (model, from, to) =>
  from === null || to === null ? '-' : ((to - from) / 1000).toFixed(Math.max(model.digits - 3, 0));

// As exact as the log tells it.
function clock(model, time) {
  const at = model.t0 + time;
  const day = new Date(at / 1000);
  const two = number => String(number).padStart(2, '0');
  const parts = String(((at % 1e6) + 1e6) % 1e6).padStart(6, '0').slice(0, model.digits);
  return `${two(day.getHours())}:${two(day.getMinutes())}:${two(day.getSeconds())}` + (parts && '.' + parts);
}
