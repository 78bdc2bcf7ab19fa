"use strict";
(() => {
  const PERIOD_MS = 1000;   // between an answer and the next question
  const PATIENCE_MS = 8000; // for one answer
  const NB_MISSED = 3;      // questions without an answer after which the crawl counts as ended
  const WINDOW_S = 300;     // what the charts show
  const MEAN_S = 5;         // what a rate is taken over
  const CLASSES = ["2xx", "3xx", "4xx", "5xx", "1xx", "none"];  // from the bottom of the stack

  const find = (id) => document.getElementById(id);
  const whole = new Intl.NumberFormat("en", {maximumFractionDigits: 0});
  const tenths = new Intl.NumberFormat("en", {minimumFractionDigits: 1, maximumFractionDigits: 1});
  const short = new Intl.NumberFormat("en", {notation: "compact", maximumFractionDigits: 1});

  const formatRate = (rate) => (rate < 100 ? tenths : whole).format(rate);
  const formatElapsed = (seconds) => {
    const s = Math.floor(seconds);
    const two = (n) => String(n).padStart(2, "0");
    return `${Math.floor(s / 3600)}:${two(Math.floor(s / 60) % 60)}:${two(s % 60)}`;
  };
  const formatBytes = (bytes) => {
    let value = bytes, unit = "B";
    for (const next of ["KiB", "MiB", "GiB", "TiB"]) {
      if (value < 1024) break;
      value /= 1024;
      unit = next;
    }
    return unit === "B" ? `${whole.format(bytes)} B` : `${tenths.format(value)} ${unit}`;
  };

  // ---- What was heard ---------------------------------------------------------------------------

  let samples = [];  // {t: s since the crawl's start, queued, rate, classes: [rate, ...], raw: status}
  let hovered = null;  // a time that the pointer asks about
  let missed = 0;
  let lastState = "";
  let ended = false;

  const rateSince = (earlier, now, key) =>
    Math.max(0, (now[key] - earlier[key]) / (now.uptime_seconds - earlier.uptime_seconds));

  function addSample(status) {
    const last = samples[samples.length - 1];
    if (last && last.raw.start_time_seconds !== status.start_time_seconds) samples = [];  // another crawl
    const t = status.uptime_seconds;
    let earlier = null;
    for (let i = samples.length - 1; i >= 0 && t - samples[i].t <= MEAN_S + 0.5; --i) earlier = samples[i].raw;
    const usable = earlier !== null && t > earlier.uptime_seconds;
    const rateOf = (key) => usable ? rateSince(earlier, status, key) : null;
    samples.push({t, queued: status.queued, rate: rateOf("fetches"),
                  classes: CLASSES.map((name) => rateOf(`fetches_${name}`)), raw: status});
    while (samples.length > 0 && samples[0].t < t - WINDOW_S - MEAN_S) samples.shift();
  }

  // ---- Figures and tables -----------------------------------------------------------------------

  function setText(element, text) {
    if (element.textContent !== text) element.textContent = text;
  }

  function showState(name, text) {
    find("state").dataset.state = name;
    setText(find("state-text"), text);
  }

  function showNotice(text) {
    setText(find("notice"), text);
    find("notice").hidden = text === "";
  }

  function showFigures(status) {
    for (const element of document.querySelectorAll("[data-figure]")) {
      const value = status[element.dataset.figure] ?? 0;
      setText(element, element.dataset.unit === "bytes" ? formatBytes(value) : whole.format(value));
    }
    setText(find("elapsed"), formatElapsed(status.uptime_seconds));
    const average = status.uptime_seconds > 0 ? status.fetches / status.uptime_seconds : 0;
    setText(find("average"), formatRate(average));
    const latest = samples[samples.length - 1];
    setText(find("rate"), formatRate(latest.rate ?? average));
    setText(find("profile"), status.profile || "Unnamed profile");
    find("pause").hidden = status.state === "paused";
    find("resume").hidden = status.state !== "paused";
  }

  function showQuota(id, count, limit) {
    const section = find(id);
    section.hidden = limit === null;
    if (limit === null) return;
    const bar = section.querySelector("progress");
    const share = limit > 0 ? Math.min(1, count / limit) : 1;
    bar.max = 1;
    bar.value = share;
    setText(section.querySelector(".share"), ` (${tenths.format(share * 100)} %)`);
  }

  // The limit below which so large a part of the fetches stayed.
  function findQuantile(classes, total, part) {
    let sum = 0;
    for (const {up_to_seconds: limit, fetches} of classes) {
      sum += fetches;
      if (sum >= total * part) return limit === null ? "over a minute" : `${limit} s or less`;
    }
    return "";
  }

  function showFetchTimes(times) {
    const most = Math.max(1, ...times.classes.map((one) => one.fetches));
    const total = times.classes.reduce((sum, one) => sum + one.fetches, 0);
    const rows = find("fetch-times").rows;
    times.classes.forEach((one, i) => {
      if (!rows[i]) return;
      rows[i].querySelector("i").style.width = `${one.fetches / most * 100}%`;
      setText(rows[i].lastElementChild, whole.format(one.fetches));
    });
    setText(find("fetch-times-readout"), total === 0 ? "No page fetched yet" :
      `Mean ${(times.seconds / total).toPrecision(2)} s; half of all took ${findQuantile(times.classes, total, 0.5)}, ` +
      `nineteen in twenty ${findQuantile(times.classes, total, 0.95)}`);
  }

  // ---- Charts -----------------------------------------------------------------------------------

  const SVG = "http://www.w3.org/2000/svg";
  const MARGIN = {left: 44, right: 10, top: 10, bottom: 22};

  function add(parent, name, attributes, text) {
    const element = document.createElementNS(SVG, name);
    for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
    if (text !== undefined) element.textContent = text;
    parent.append(element);
    return element;
  }

  // The smallest of 1, 2, 5 and their tenfolds that reaches value.
  function roundUp(value) {
    const power = 10 ** Math.floor(Math.log10(value));
    return [1, 2, 5, 10].map((n) => n * power).find((n) => n >= value * 0.999999);
  }

  function findSpan() {
    const to = samples[samples.length - 1].t;
    const seen = to - samples[0].t;
    const length = [30, 60, 120, WINDOW_S].find((n) => n >= seen) ?? WINDOW_S;
    return {from: to - length, to, length};
  }

  function drawAxes(svg, frame) {
    const {x0, x1, y0, y1, step, y, span} = frame;
    for (let value = 0; value <= frame.top * 1.0001; value += step) {
      add(svg, "line", {x1: x0, x2: x1, y1: y(value), y2: y(value), class: value === 0 ? "base" : "grid"});
      add(svg, "text", {x: x0 - 7, y: y(value) + 4, "text-anchor": "end"}, short.format(value));
    }
    const ago = (s) => s < 60 ? `${s} s ago` : `${s / 60} min ago`;
    const labels = [[x0, "start", ago(span.length)], [(x0 + x1) / 2, "middle", ago(span.length / 2)], [x1, "end", "now"]];
    for (const [x, anchor, text] of labels) add(svg, "text", {x, y: y0 + 16, "text-anchor": anchor}, text);
  }

  function buildFrame(svg, highest, span, least) {
    const box = svg.getBoundingClientRect();
    svg.setAttribute("viewBox", `0 0 ${box.width} ${box.height}`);
    const step = roundUp(Math.max(highest, least) / 4);
    const top = step * Math.max(1, Math.ceil(Math.max(highest, least) / step));
    const x0 = MARGIN.left, x1 = box.width - MARGIN.right;
    const y0 = box.height - MARGIN.bottom, y1 = MARGIN.top;
    return {x0, x1, y0, y1, step, top, span,
            x: (t) => x0 + (t - span.from) / span.length * (x1 - x0),
            y: (value) => y0 - value / top * (y0 - y1)};
  }

  const trace = (frame, points) =>
    points.map(([t, value], i) => `${i === 0 ? "M" : "L"}${frame.x(t).toFixed(1)} ${frame.y(value).toFixed(1)}`).join("");

  function traceBand(frame, lower, upper) {
    return trace(frame, upper) + trace(frame, [...lower].reverse()).replace("M", "L") + "Z";
  }

  // bands: [{colour, values}], stacked from the bottom; shown: the samples they belong to.
  function drawChart(id, shown, bands, least) {
    const svg = find(id);
    const span = findSpan();
    const sums = shown.map((_, i) => bands.reduce((sum, band) => sum + band.values[i], 0));
    const frame = buildFrame(svg, Math.max(0, ...sums), span, least);
    svg.replaceChildren();
    drawAxes(svg, frame);
    let lower = shown.map((sample) => [sample.t, 0]);
    for (const band of bands) {
      const upper = lower.map(([t, value], i) => [t, value + band.values[i]]);
      if (upper.length > 1 && (!band.colour || band.values.some((value) => value > 0))) {
        const area = add(svg, "path", {d: traceBand(frame, lower, upper), class: band.colour ? "band" : "area"});
        if (band.colour) area.style.fill = band.colour;
        else add(svg, "path", {d: trace(frame, upper), class: "line"});
      }
      lower = upper;
    }
    const chosen = hovered === null ? null : pickSample(shown);
    if (chosen) add(svg, "line", {x1: frame.x(chosen.t), x2: frame.x(chosen.t), y1: frame.y0, y2: frame.y1, class: "cursor"});
  }

  function pickSample(shown) {
    if (hovered === null || shown.length === 0) return shown[shown.length - 1];
    return shown.reduce((best, one) => Math.abs(one.t - hovered) < Math.abs(best.t - hovered) ? one : best);
  }

  // Parts alternate between text and what stands out.
  function showReadout(id, parts) {
    find(id).replaceChildren(...parts.map((part, i) => {
      if (i % 2 === 0) return document.createTextNode(part);
      const strong = document.createElement("b");
      strong.textContent = part;
      return strong;
    }));
  }

  function showReadouts(shown) {
    const rated = shown.filter((sample) => sample.rate !== null);
    const one = pickSample(rated);
    const queue = pickSample(shown);
    const when = (sample) => hovered === null || !sample ? "now " : `at ${formatElapsed(sample.t)} `;
    showReadout("queue-readout", queue ? [when(queue), whole.format(queue.queued)] : [""]);
    showReadout("rate-readout", one ? [when(one), formatRate(one.rate), `, mean of ${MEAN_S} seconds`] : ["measuring"]);
    showReadout("classes-readout", !one ? ["measuring"] : [when(one),
      CLASSES.map((name, i) => [name, one.classes[i]]).filter(([, rate]) => rate > 0)
        .map(([name, rate]) => `${name} ${formatRate(rate)}`).join(" \u00b7 ") || "none"]);
  }

  function drawCharts() {
    if (samples.length === 0) return;
    find("charts").hidden = false;
    const {from} = findSpan();
    const shown = samples.filter((sample) => sample.t >= from);
    const rated = shown.filter((sample) => sample.rate !== null);
    drawChart("rate-chart", rated, [{values: rated.map((sample) => sample.rate)}], 1);
    drawChart("queue-chart", shown, [{values: shown.map((sample) => sample.queued)}], 4);
    drawChart("classes-chart", rated, CLASSES.map((name, i) => (
      {colour: `var(--c${name})`, values: rated.map((sample) => sample.classes[i])})), 1);
    showReadouts(shown);
  }

  function watchPointer(svg) {
    svg.addEventListener("pointermove", (event) => {
      if (samples.length === 0) return;
      const box = svg.getBoundingClientRect();
      const span = findSpan();
      const part = (event.clientX - box.left - MARGIN.left) / (box.width - MARGIN.left - MARGIN.right);
      hovered = span.from + Math.min(1, Math.max(0, part)) * span.length;
      drawCharts();
    });
    for (const name of ["pointerleave", "pointercancel"]) {
      svg.addEventListener(name, () => { hovered = null; drawCharts(); });
    }
  }

  function buildLegend() {
    find("classes-legend").replaceChildren(...CLASSES.map((name) => {
      const item = document.createElement("li");
      item.dataset.class = name;
      const key = document.createElement("i");
      key.className = "key";
      item.append(key, name === "none" ? "no status" : name);
      return item;
    }));
  }

  // ---- Asking -----------------------------------------------------------------------------------

  function show(status) {
    missed = 0;
    lastState = status.state;
    addSample(status);
    showNotice("");
    showState(status.state, status.state);
    showFigures(status);
    showQuota("page-quota", status.quota_pages, status.quota_page_limit);
    showQuota("byte-quota", status.quota_bytes, status.quota_byte_limit);
    showFetchTimes(status.fetch_times);
    drawCharts();
  }

  function end() {
    ended = true;
    showState("ended", "ended");
    showNotice("The crawl has ended: its server no longer answers. These are the last figures it gave.");
    document.body.classList.add("over");
  }

  // No answer at all: nobody listens any more, or the crawler has no time for one just now.
  function miss() {
    ++missed;
    if (missed >= NB_MISSED || lastState === "stopping") return end();
    showState("silent", "no answer");
    showNotice("No answer from the crawler. Asking again.");
  }

  async function ask() {
    let answer = null;
    try {
      answer = await fetch("/status.json", {cache: "no-store", signal: AbortSignal.timeout(PATIENCE_MS)});
      if (answer.ok) show(await answer.json());
      else showNotice(`The crawler does not give its figures to this page (status ${answer.status}).`);
    } catch (fault) {
      if (answer === null || fault instanceof TypeError || fault.name === "TimeoutError") miss();
      else showNotice("The crawler's answer could not be read.");
    }
    if (!ended) setTimeout(ask, PERIOD_MS);
  }

  buildLegend();
  for (const svg of document.querySelectorAll(".chart")) watchPointer(svg);
  window.addEventListener("resize", drawCharts);
  ask();
})();
