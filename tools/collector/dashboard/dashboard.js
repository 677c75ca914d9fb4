// The collector's dashboard. It only draws: every figure comes worked out from the collector's
// JSON API (/api/sessions, /api/sessions/{id}/timeline). Charts are SVG drawn here, so the page
// needs nothing but the collector.
"use strict";

const POLL_MS = 2000;
const SVG_NS = "http://www.w3.org/2000/svg";

function el(tag, attributes, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(attributes || {})) node.setAttribute(key, value);
  for (const child of children) node.append(child === null || child === undefined ? "" : child);
  return node;
}

function svgEl(tag, attributes) {
  const node = document.createElementNS(SVG_NS, tag);
  for (const [key, value] of Object.entries(attributes || {})) node.setAttribute(key, value);
  return node;
}

async function fetchJSON(url) {
  const response = await fetch(url, { cache: "no-store" });
  if (!response.ok) throw new Error(url + " answered " + response.status);
  return response.json();
}

const show = {
  ms: (value) => (value === null || value === undefined ? "–" : value + " ms"),
  ratio: (value) => (value === null || value === undefined ? "–" : (value * 100).toFixed(2) + " %"),
  date: (millis) => (millis === null || millis === undefined ? "–"
                     : new Date(millis).toISOString().replace("T", " ").slice(0, 19) + " UTC"),
  clock: (millis) => {
    const seconds = Math.floor(millis / 1000);
    return Math.floor(seconds / 60) + ":" + String(seconds % 60).padStart(2, "0");
  },
  offset: (millis) => "+" + (millis / 1000).toFixed(3) + " s",
  value: (value) => (typeof value === "string" ? value : JSON.stringify(value)),
};

function phaseBadge(phase, state) {
  return el("span", { class: "phase phase-" + phase, title: state }, phase + " (" + state + ")");
}

function markUpdated() {
  document.getElementById("updated").textContent = "updated " + new Date().toISOString().slice(11, 19);
}

// ---- The sessions page ----

function sessionRow(session) {
  const link = el("a", { href: "/sessions/" + encodeURIComponent(session.sessionId) }, session.sessionId);
  const row = el("tr", { "data-session-id": session.sessionId, class: session.checksFailed > 0 ? "failed" : "" });
  row.append(
    el("td", {}, link),
    el("td", { class: "asset" }, session.assetId === null ? "–" : session.assetId),
    el("td", { class: "plugin" }, session.plugin === null ? "–" : session.plugin),
    el("td", { class: "state" }, phaseBadge(session.phase, session.state)),
    el("td", { class: "started" }, show.date(session.startedAt)),
    el("td", { class: "num join" }, show.ms(session.joinTimeMs)),
    el("td", { class: "num rebuffering" }, show.ratio(session.rebufferingRatio)),
    el("td", { class: "last-error" }, session.lastError === null ? "–" : session.lastError),
    el("td", { class: "num checks-passed passed" }, String(session.checksPassed)),
    el("td", { class: "num checks-failed" + (session.checksFailed > 0 ? " failed" : "") }, String(session.checksFailed)),
    el("td", { class: "num requests" }, String(session.requests)));
  return row;
}

async function sessionsPage(app) {
  const data = await fetchJSON("/api/sessions");
  const head = el("tr", {});
  for (const title of ["Session", "Asset", "Player", "State", "Started", "Join time", "Rebuffering",
                       "Last playback error", "Checks passed", "Checks failed", "Requests"]) {
    head.append(el("th", {}, title));
  }
  const table = el("table", { id: "sessions" }, el("thead", {}, head), el("tbody", {}, ...data.sessions.map(sessionRow)));
  app.replaceChildren(el("h1", {}, "Sessions"), table,
                      el("p", {}, data.requestsWithoutSession + " requests belong to no session."));
  document.title = "Sessions – VeyraKit collector";
  document.body.dataset.view = "sessions";
  markUpdated();
  setTimeout(() => sessionsPage(app).catch(showError), POLL_MS);
}

// ---- Charts ----

const CHART = { width: 560, height: 200, left: 64, right: 12, top: 10, bottom: 28 };

function niceMax(value) {
  if (!(value > 0)) return 1;
  const magnitude = Math.pow(10, Math.floor(Math.log10(value)));
  for (const step of [1, 2, 2.5, 5, 10]) if (step * magnitude >= value) return step * magnitude;
  return 10 * magnitude;
}

// A plot area with axes and four ticks each; `yFormat` writes the y tick labels.
function plot(name, xMax, yMax, yFormat, height) {
  const h = height || CHART.height;
  const svg = svgEl("svg", { id: "chart-" + name, "data-chart": name, viewBox: `0 0 ${CHART.width} ${h}`,
                             width: CHART.width, height: h });
  const innerW = CHART.width - CHART.left - CHART.right;
  const innerH = h - CHART.top - CHART.bottom;
  const x = (value) => CHART.left + (xMax > 0 ? (value / xMax) * innerW : 0);
  const y = (value) => CHART.top + innerH - (yMax > 0 ? (value / yMax) * innerH : 0);
  for (let i = 0; i <= 4; i++) {
    const xv = (xMax * i) / 4;
    svg.append(svgEl("line", { class: "grid", x1: x(xv), x2: x(xv), y1: CHART.top, y2: CHART.top + innerH }));
    const label = svgEl("text", { x: x(xv), y: h - 10, "text-anchor": "middle" });
    label.textContent = show.clock(xv);
    svg.append(label);
    if (yFormat) {
      const yv = (yMax * i) / 4;
      svg.append(svgEl("line", { class: "grid", x1: CHART.left, x2: CHART.left + innerW, y1: y(yv), y2: y(yv) }));
      const tick = svgEl("text", { x: CHART.left - 6, y: y(yv) + 4, "text-anchor": "end" });
      tick.textContent = yFormat(yv);
      svg.append(tick);
    }
  }
  svg.append(svgEl("line", { class: "axis", x1: CHART.left, x2: CHART.left + innerW, y1: CHART.top + innerH, y2: CHART.top + innerH }));
  svg.append(svgEl("line", { class: "axis", x1: CHART.left, x2: CHART.left, y1: CHART.top, y2: CHART.top + innerH }));
  return { svg, x, y, innerW, innerH };
}

function figure(name, caption, svg, wide, legend) {
  const node = el("figure", { class: "chart" + (wide ? " wide" : ""), id: "figure-" + name }, el("figcaption", {}, caption));
  if (legend) node.append(legend);
  node.append(svg);
  return node;
}

// The colour goes through the style object: the page's Content-Security-Policy refuses style
// attributes.
function legend(entries) {
  return el("div", { class: "legend" }, ...entries.map(([label, color]) => {
    const swatch = el("i");
    swatch.style.background = color;
    return el("span", {}, swatch, label);
  }));
}

function emptyNote(svg, text) {
  const note = svgEl("text", { x: CHART.left + 8, y: CHART.top + 16 });
  note.textContent = text;
  svg.append(note);
}

// A line through points, as steps when `steps` (a value holds until the next one).
function polyline(points, p, steps) {
  let d = "";
  points.forEach(([xv, yv], i) => {
    if (i === 0) d += `M${p.x(xv)},${p.y(yv)}`;
    else if (steps) d += `H${p.x(xv)}V${p.y(yv)}`;
    else d += `L${p.x(xv)},${p.y(yv)}`;
  });
  return d;
}

function sessionEnd(data) {
  const ends = data.intervals.map((i) => i.atMs).concat(data.bitrate.map((b) => b.atMs));
  return Math.max(1000, ...ends);
}

function bitrateChart(data) {
  const steps = data.bitrate;
  const xMax = sessionEnd(data);
  const p = plot("bitrate", xMax, niceMax(Math.max(0, ...steps.map((s) => s.bitrate))), (v) => (v / 1e6).toFixed(1) + " M");
  if (steps.length === 0) emptyNote(p.svg, "no periodical report carried a bitrate");
  else {
    const points = steps.map((s) => [s.atMs, s.bitrate]).concat([[xMax, steps[steps.length - 1].bitrate]]);
    p.svg.append(svgEl("path", { class: "mark series", d: polyline(points, p, true) }));
    for (const step of steps.filter((s) => s.switch)) {
      const marker = svgEl("circle", { class: "mark switch", cx: p.x(step.atMs), cy: p.y(step.bitrate), r: 4 });
      marker.append(svgEl("title"));
      marker.firstChild.textContent = `P #${step.periodicalNumber}: switch to ${step.bitrate} bps`;
      p.svg.append(marker);
    }
  }
  const switches = steps.filter((s) => s.switch).length;
  return figure("bitrate", `Bitrate over session time (${switches} switches marked)`, p.svg, false);
}

function bufferingChart(data) {
  const rows = data.intervals.filter((i) => i.bufferingMs !== null);
  const xMax = sessionEnd(data);
  const p = plot("buffering", xMax, niceMax(Math.max(0, ...rows.map((r) => r.bufferingMs))), show.ms);
  let previous = 0;
  for (const row of rows) {
    if (row.bufferingMs > 0) {
      const x0 = p.x(previous);
      const bar = svgEl("rect", { class: "mark bar", x: x0, width: Math.max(2, p.x(row.atMs) - x0),
                                  y: p.y(row.bufferingMs), height: p.y(0) - p.y(row.bufferingMs) });
      bar.append(svgEl("title"));
      bar.firstChild.textContent = `P #${row.periodicalNumber}: ${row.bufferingMs} ms buffering`;
      p.svg.append(bar);
    }
    previous = row.atMs;
  }
  if (!rows.some((r) => r.bufferingMs > 0)) emptyNote(p.svg, "no buffering after the join");
  return figure("buffering", "Buffering per reporting interval", p.svg, false);
}

// Session totals of time measures as lines over session time.
function totalsChart(name, caption, data, series) {
  const xMax = sessionEnd(data);
  const values = series.flatMap(([key]) => data.intervals.map((i) => i[key]).filter((v) => v !== null));
  const p = plot(name, xMax, niceMax(Math.max(0, ...values)), (v) => show.clock(v));
  for (const [key, cssClass] of series) {
    const points = data.intervals.filter((i) => i[key] !== null).map((i) => [i.atMs, i[key]]);
    if (points.length > 0) p.svg.append(svgEl("path", { class: "mark series " + cssClass, d: polyline(points, p, false) }));
  }
  if (values.length === 0) emptyNote(p.svg, "not reported");
  const colors = { playing: "#2a6fdb", viewed: "#e08a1e", fullscreen: "#7a4ec2" };
  return figure(name, caption, p.svg, false, legend(series.map(([key, cssClass]) => [key, colors[cssClass]])));
}

function diagnosticChart(data) {
  const rows = data.diagnosticEvents.names;
  const rowHeight = 14;
  const height = Math.max(80, rows.length * rowHeight + CHART.top + CHART.bottom);
  const xMax = Math.max(1000, ...rows.flatMap((r) => r.atMs));
  const p = plot("diagnostics", xMax, rows.length, null, height);
  p.svg.setAttribute("width", CHART.width + 160);
  p.svg.setAttribute("viewBox", `-160 0 ${CHART.width + 160} ${height}`);
  rows.forEach((row, index) => {
    const yMid = CHART.top + index * rowHeight + rowHeight / 2;
    const label = svgEl("text", { x: CHART.left - 6, y: yMid + 4, "text-anchor": "end" });
    label.textContent = `${row.name} (${row.atMs.length})`;
    p.svg.append(label);
    let d = "";
    for (const at of row.atMs) d += `M${p.x(at)},${yMid - 5}V${yMid + 5}`;
    p.svg.append(svgEl("path", { class: "mark event", d }));
  });
  if (rows.length === 0) emptyNote(p.svg, "no diagnostic event arrived");
  return figure("diagnostics", "Diagnostic events by name, from the first event (players' clock)", p.svg, true);
}

// ---- The session page ----

function figures(data) {
  const s = data.summary;
  const asset = s.asset || {};
  const passed = data.checks.filter((c) => c.status === "passed").length;
  const failed = data.checks.filter((c) => c.status === "failed").length;
  const items = [
    ["Asset", (asset.assetId || "–") + (asset.streamType ? " (" + asset.streamType + ")" : "")],
    ["Player", s.plugin || "–"], ["State", phaseBadge(data.phase, data.state)],
    ["Started", show.date(s.startedAt)], ["Join time", show.ms(s.joinTimeMs)],
    ["Rebuffering ratio", show.ratio(s.rebufferingRatio)], ["Buffering after the join", show.ms(s.totalBufferingMs)],
    ["Playing time", show.ms(s.playingTimeMs)], ["Viewed time", show.ms(s.viewedTimeMs)],
    ["Full-screen time", show.ms(s.fullScreenTimeMs)], ["Bitrate switches", String(s.bitrateSwitches)],
    ["Diagnostic events", s.diagnosticEvents + " in " + s.diagnosticPosts + " posts"],
    ["Checks", passed + " passed, " + failed + " failed"],
    ["Playback errors", playbackErrors(s.playbackErrors || [])],
  ];
  return el("dl", { class: "figures", id: "figures" },
            ...items.map(([term, value]) => el("div", { "data-figure": term }, el("dt", {}, term), el("dd", {}, value))));
}

// Each error with its code and text, as the player reported it.
function playbackErrors(errors) {
  if (errors.length === 0) return "none";
  const line = (e) => [e.domain, e.code].filter((v) => v !== null).join(" ") +
                      (e.text === null ? "" : (e.domain === null && e.code === null ? "" : ": ") + e.text);
  return el("ul", { class: "playback-errors" }, ...errors.map((e) => el("li", {}, line(e))));
}

function checksTable(data) {
  const body = el("tbody");
  for (const check of data.checks) {
    const broken = el("td");
    for (const violation of check.violations) {
      const request = violation.request;
      const where = request
        ? el("a", { href: "#request-" + request.id }, `#${request.id} ${request.kind} at ${show.offset(request.offsetMs)}`)
        : "#" + violation.requestId;
      broken.append(el("div", {}, where, ": " + violation.message));
    }
    body.append(el("tr", { "data-check": check.name, class: check.status === "failed" ? "failed" : "" },
                    el("td", { class: check.status }, check.status), el("td", {}, el("code", {}, check.name)),
                    el("td", {}, check.description), broken));
  }
  return el("table", { id: "checks" },
            el("thead", {}, el("tr", {}, el("th", {}, "Status"), el("th", {}, "Check"), el("th", {}, "Rule"),
                               el("th", {}, "Broken by"))), body);
}

function timelineTable(data) {
  const body = el("tbody");
  for (const row of data.timeline) {
    const values = Object.entries(row.values).map(([k, v]) => k + "=" + show.value(v)).join(" ");
    const answer = row.answer.status + (row.answer.body && Object.keys(row.answer.body).length
                                        ? " " + JSON.stringify(row.answer.body) : "");
    body.append(el("tr", { id: "request-" + row.id, class: row.retransmission ? "retransmission" : "" },
                    el("td", { class: "num" }, "#" + row.id), el("td", { class: "num" }, show.offset(row.offsetMs)),
                    el("td", {}, row.kind + (row.retransmission ? " (again)" : "")),
                    el("td", { class: "num" }, row.pulseNumber === null ? "" : String(row.pulseNumber)),
                    el("td", { class: "num" }, row.periodicalNumber === null ? "" : String(row.periodicalNumber)),
                    el("td", { class: "values" }, values), el("td", { class: "values" }, answer)));
  }
  const head = el("tr");
  for (const title of ["Request", "Arrival", "Type", "Pulse", "Periodical", "Key values", "Answer"]) head.append(el("th", {}, title));
  return el("table", { id: "timeline" }, el("thead", {}, head), body);
}

async function sessionPage(app, sessionId) {
  const data = await fetchJSON("/api/sessions/" + encodeURIComponent(sessionId) + "/timeline");
  const charts = el("div", { class: "charts" },
                    bitrateChart(data), bufferingChart(data),
                    totalsChart("time", "Playing and viewed time (session totals)", data,
                                [["totalPlayingMs", "playing"], ["totalViewedMs", "viewed"]]),
                    totalsChart("fullscreen", "Full-screen time (session total)", data, [["totalFullScreenMs", "fullscreen"]]),
                    diagnosticChart(data));
  app.replaceChildren(el("h1", {}, "Session " + data.sessionId), figures(data),
                      el("h2", {}, "Charts (x: session time, m:ss)"), charts,
                      el("h2", {}, "Protocol checks"), checksTable(data),
                      el("h2", {}, "Requests received"), timelineTable(data));
  document.title = "Session " + data.sessionId + " – VeyraKit collector";
  document.body.dataset.view = "session";
  if (location.hash) document.getElementById(location.hash.slice(1))?.scrollIntoView();
  markUpdated();
  if (data.phase === "running") setTimeout(() => sessionPage(app, sessionId).catch(showError), POLL_MS);
}

function showError(error) {
  document.getElementById("app").replaceChildren(el("p", { class: "failed", id: "error" }, String(error)));
}

// The session id is everything after "/sessions/", decoded as the collector decodes paths: an id
// may hold "/" (sent as "%2F"), and a "%" that starts no escape stays as it is.
function sessionIdOf(path) {
  const match = path.match(/^\/sessions\/(.+)$/);
  if (!match) return null;
  return match[1].replace(/(%[0-9A-Fa-f]{2})+/g, (escapes) => {
    try {
      return decodeURIComponent(escapes);
    } catch {
      return escapes;
    }
  });
}

const app = document.getElementById("app");
const sessionId = sessionIdOf(location.pathname);
(sessionId === null ? sessionsPage(app) : sessionPage(app, sessionId)).catch(showError);
