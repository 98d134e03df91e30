// The chart: lanes with the requests, marks above them, the ring's occupancy below. Few requests are drawn with their
// paths, many as bars that share a pixel.
const TOP = 34, LANE = 40, RING_HEIGHT = 84, LEFT = 96, MOST_PATHS = 300;
const MARKS = {refusal: '--bad', 'ring full': '--bad', warning: '--bad', silence: '--silence', reconnect: '--reconnect',
  kick: '--kick', link: '--state', state: '--state'};
const KINDS = {port: '--port', rule: '--rule', SyncE: '--sync', 'Smart SFP': '--sfp'};

class Chart {
  constructor(canvas, model) {
    Object.assign(this, {canvas, model, shown: model.requests, chosen: null});
    const times = [...model.requests.flatMap(one => [one.from, one.to]), ...model.marks.map(one => one.time)];
    this.first = times.reduce((a, b) => Math.min(a, b), Infinity);
    this.last = times.reduce((a, b) => Math.max(a, b), -Infinity);
    if (!Number.isFinite(this.first)) this.first = this.last = 0;
    this.all();
  }

  all() { this.look(this.first, this.last); }

  // Shows these times with a margin, in steps that can still be told apart.
  look(from, to) {
    const margin = Math.max((to - from) * 0.04, 50);
    this.from = from - margin;
    this.to = to + margin;
    this.draw();
  }

  zoom(factor, at = (this.from + this.to) / 2) {
    const span = Math.min(Math.max((this.to - this.from) * factor, 20), Math.max((this.last - this.first) * 4, 1000));
    this.from = at - (at - this.from) * span / (this.to - this.from);
    this.to = this.from + span;
    this.draw();
  }

  move(part) {
    const by = (this.to - this.from) * part;
    this.from += by;
    this.to += by;
    this.draw();
  }

  draw() {
    if (this.waiting) return;
    this.waiting = true;
    requestAnimationFrame(() => { this.waiting = false; this.drawNow(); });
  }

  x(time) { return LEFT + (time - this.from) / (this.to - this.from) * (this.width - LEFT); }
  time(x) { return this.from + (x - LEFT) / (this.width - LEFT) * (this.to - this.from); }
  y(lane) { return TOP + lane * LANE; }
  colour(name) { return this.style.getPropertyValue(name).trim(); }

  drawNow() {
    const began = performance.now();
    const scale = window.devicePixelRatio || 1;
    this.style = getComputedStyle(document.documentElement);
    this.width = this.canvas.clientWidth;
    this.height = this.canvas.clientHeight;
    this.canvas.width = Math.round(this.width * scale);
    this.canvas.height = Math.round(this.height * scale);
    const pen = this.pen = this.canvas.getContext('2d');
    pen.scale(scale, scale);
    pen.font = '12px system-ui, sans-serif';
    pen.textBaseline = 'middle';
    pen.fillStyle = this.colour('--back');
    pen.fillRect(0, 0, this.width, this.height);
    this.drawLanes();
    pen.save();
    pen.beginPath();
    pen.rect(LEFT, 0, this.width - LEFT, this.height);
    pen.clip();
    const visible = this.shown.filter(one => one.to >= this.from && one.from <= this.to);
    this.drawBars(visible);
    if (visible.length <= MOST_PATHS) visible.forEach(one => this.drawPath(one, 1));
    if (this.chosen) this.drawPath(this.chosen, 2.5);
    this.drawRing();
    this.drawMarks();
    pen.restore();
    document.documentElement.dataset.drawMs = (performance.now() - began).toFixed(1);
  }

  drawLanes() {
    const {pen} = this;
    LANES.forEach((name, lane) => {
      pen.fillStyle = this.colour(lane % 2 ? '--back' : '--band');
      pen.fillRect(0, this.y(lane), this.width, LANE);
      pen.fillStyle = this.colour('--text');
      pen.fillText(name, 8, this.y(lane) + LANE / 2);
    });
    pen.fillText('in the ring', 8, this.y(LANES.length) + RING_HEIGHT / 2);
    const span = this.to - this.from;
    const step = [1, 2, 5].flatMap(one => [...Array(14).keys()].map(power => one * 10 ** power)).sort((a, b) => a - b)
      .find(one => span / one <= 10) ?? span;
    pen.fillStyle = this.colour('--pale');
    pen.strokeStyle = this.colour('--line');
    const {t0} = this.model;
    for (let time = Math.ceil((t0 + this.from) / step) * step - t0; time <= this.to; time += step) {
      const x = Math.round(this.x(time)) + 0.5;
      pen.beginPath();
      pen.moveTo(x, TOP);
      pen.lineTo(x, this.height - 18);
      pen.stroke();
      const digits = step >= 1e6 ? 0 : step >= 1000 ? 3 : 6;
      pen.fillText(clock({t0: this.model.t0, digits}, Math.round(time)), x + 3, this.height - 8);
    }
  }

  barsOf(request) { return this.colour(bad(request) ? '--bad' : KINDS[request.kind] ?? '--other'); }

  drawBars(visible) {
    const {pen} = this;
    const drawn = LANES.map(() => new Map());  // by pixel: where a bar that begins there ends
    const colours = new Map();
    for (const request of visible) {
      const key = bad(request) ? 'bad' : request.kind;
      if (!colours.has(key)) colours.set(key, this.barsOf(request));
      pen.fillStyle = colours.get(key);
      for (const [lane, from, to, , pale] of request.bars) {
        const x = Math.round(this.x(from)), width = Math.max(Math.round(this.x(to)) - x, 2);
        if (x > this.width || x + width < LEFT || (drawn[lane].get(x) >= width && key !== 'bad')) continue;
        drawn[lane].set(x, width);
        pen.globalAlpha = pale ? 0.3 : 0.85;
        pen.fillRect(x, this.y(lane) + 9, width, LANE - 18);
      }
    }
    pen.globalAlpha = 1;
  }

  drawPath(request, width) {
    const {pen} = this;
    pen.strokeStyle = this.barsOf(request);
    pen.lineWidth = width;
    pen.globalAlpha = width > 1 ? 1 : 0.6;
    pen.beginPath();
    request.path.forEach(([lane, time], index) => {
      pen[index ? 'lineTo' : 'moveTo'](this.x(time), this.y(lane) + LANE / 2);
    });
    pen.stroke();
    pen.lineWidth = pen.globalAlpha = 1;
  }

  drawRing() {
    const {pen} = this;
    const base = this.y(LANES.length) + RING_HEIGHT - 8, unit = (RING_HEIGHT - 20) / 20;
    pen.strokeStyle = this.colour('--line');
    pen.strokeRect(LEFT, base - 20 * unit, this.width, 20 * unit);
    pen.fillStyle = this.colour('--accent');
    pen.globalAlpha = 0.55;
    const most = new Map();
    this.model.ring.forEach(([time, used], index) => {
      const next = this.model.ring[index + 1];
      const end = next ? next[0] : time;
      if (end < this.from || time > this.to) return;
      const x = Math.max(Math.round(this.x(time)), LEFT), width = Math.max(Math.round(this.x(end)) - x, 1);
      if (width === 1 && most.get(x) >= used) return;
      most.set(x, used);
      pen.fillRect(x, base - used * unit, width, used * unit);
    });
    pen.globalAlpha = 1;
  }

  drawMarks() {
    const {pen} = this;
    const drawn = new Set();
    for (const mark of this.model.marks) {
      const x = Math.round(this.x(mark.time));
      if (x < LEFT || x > this.width || drawn.has(mark.kind + x)) continue;
      drawn.add(mark.kind + x);
      pen.fillStyle = this.colour(MARKS[mark.kind]);
      pen.beginPath();
      pen.moveTo(x - 5, 12);
      pen.lineTo(x + 5, 12);
      pen.lineTo(x, 24);
      pen.fill();
      if (['--state', '--kick'].includes(MARKS[mark.kind])) continue;
      pen.globalAlpha = 0.5;
      pen.fillRect(x, 24, 1, this.y(LANES.length) - 24);
      pen.globalAlpha = 1;
    }
  }

  // What is under a point: a mark, or a bar of a request that is shown.
  at(x, y) {
    const near = 6 * (this.to - this.from) / (this.width - LEFT), time = this.time(x);
    if (x < LEFT) return null;
    if (y < TOP) {
      const marks = this.model.marks.filter(one => Math.abs(one.time - time) <= near);
      return marks.length ? {marks} : null;
    }
    const lane = Math.floor((y - TOP) / LANE);
    if (lane >= LANES.length) {
      const used = this.model.ring.findLast(one => one[0] <= time);
      return used ? {used: used[1]} : null;
    }
    let best = null, least = Infinity;
    for (const request of this.shown) {
      if (request.from > time + near || request.to < time - near) continue;
      for (const [on, from, to, message] of request.bars) {
        if (on !== lane) continue;
        const away = Math.max(from - time, time - to, 0);
        if (away <= near && away < least) { least = away; best = {request, message, lane}; }
      }
    }
    return best;
  }
}
