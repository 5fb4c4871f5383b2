#include "report/ReportPage.h"

const char kReportScript[] = R"js(
'use strict';

const record = JSON.parse(document.getElementById('record').textContent);
const at = (path) => path.split('/').slice(1).reduce((value, name) => value[name], record);

function add(parent, name, attributes = {}, text = '') {
  const isSvg = name === 'svg' || parent instanceof SVGElement;
  const space = isSvg ? 'http://www.w3.org/2000/svg' : 'http://www.w3.org/1999/xhtml';
  const element = document.createElementNS(space, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.textContent = text;
  return parent.appendChild(element);
}

/** Removes what shows a part that the record does not have. */
function removeAbsentParts() {
  for (const element of document.querySelectorAll('[data-part]')) {
    const part = record[element.dataset.part];
    if (part === null || part.length === 0) element.remove();
  }
}

/** Adds the rows of a part that is an array of objects. */
function fillTables() {
  for (const table of document.querySelectorAll('table[data-rows]')) {
    const path = `/${table.dataset.rows}`;
    const names = table.dataset.columns.split(' ');
    const head = add(add(table, 'thead'), 'tr');
    for (const name of names) add(head, 'th', {scope: 'col'}, name.replace('_', ' '));
    const body = add(table, 'tbody');
    at(path).forEach((row, i) => {
      const line = add(body, 'tr');
      for (const name of names) add(line, 'td', {'data-figure': `${path}/${i}/${name}`});
    });
  }
}

function fillFigures() {
  for (const element of document.querySelectorAll('[data-figure]')) {
    const value = at(element.dataset.figure);
    element.textContent = typeof value === 'number' ?
        value.toFixed(element.dataset.digits ?? 0) : value ?? 'unknown';
  }
}

/** About count round values from low to high. */
function ticks(low, high, count) {
  const power = 10 ** Math.floor(Math.log10((high - low) / count));
  const step = power * [1, 2, 5, 10].find((factor) => factor * power * count >= high - low);
  const first = Math.ceil(low / step - 1e-9);
  const length = Math.floor(high / step + 1e-9) - first + 1;
  return {step, values: Array.from({length}, (_, i) => Number(((first + i) * step).toPrecision(12)))};
}

/** An empty chart in a figure; x and y are the ranges of its axes. */
function makeChart(figure, x, y) {
  figure.querySelector('svg')?.remove();
  const [left, right, top, bottom, height] = [56, 16, 16, 34, 230];
  const width = figure.clientWidth;
  const svg = add(figure, 'svg', {viewBox: `0 0 ${width} ${height}`, role: 'img',
                                  'aria-label': figure.querySelector('figcaption').textContent});
  const scale = (range, from, to) => (value) => {
    const inside = Math.min(Math.max(value, range.low), range.high);
    return from + (to - from) * (inside - range.low) / (range.high - range.low);
  };
  const chart = {svg, atX: scale(x, left, width - right), atY: scale(y, height - bottom, top)};
  for (const value of ticks(y.low, y.high, 4).values) {
    const place = chart.atY(value);
    add(svg, 'line', {class: 'grid', x1: left, x2: width - right, y1: place, y2: place});
    add(svg, 'text', {x: left - 8, y: place + 4, 'text-anchor': 'end'}, value);
  }
  for (const value of ticks(x.low, x.high, width / 90).values) {
    add(svg, 'text', {x: chart.atX(value), y: height - 14, 'text-anchor': 'middle'}, value);
  }
  add(svg, 'text', {x: width - right, y: height, 'text-anchor': 'end'}, x.unit);
  add(svg, 'text', {x: left - 8, y: 11, 'text-anchor': 'end'}, y.unit);
  chart.markX = (value, text) => {
    const place = chart.atX(value);
    add(svg, 'line', {class: 'mark', x1: place, x2: place, y1: top, y2: height - bottom});
    const anchor = place > width / 2 ? 'end' : 'start';
    add(svg, 'text', {class: 'mark', x: place + (anchor === 'end' ? -4 : 4), y: 11,
                      'text-anchor': anchor}, text);
  };
  chart.markY = (value, text) => {
    const place = chart.atY(value);
    add(svg, 'line', {class: 'mark', x1: left, x2: width - right, y1: place, y2: place});
    if (text) add(svg, 'text', {class: 'mark', x: width - right, y: place - 4, 'text-anchor': 'end'}, text);
  };
  return chart;
}

/** How many of the values fall in each of equal bins; the last one's count has all above it, too. */
function drawHistogram(figure, values, range, lateFrom = Infinity) {
  if (values.length === 0) return null;
  const {step} = ticks(range.low, range.high, figure.clientWidth / 11);
  const first = Math.floor(range.low / step);
  const last = Math.max(Math.ceil(range.high / step), first + 1);
  const counts = Array(last - first).fill(0);
  for (const value of values) {
    ++counts[Math.min(Math.max(Math.floor(value / step) - first, 0), counts.length - 1)];
  }
  const chart = makeChart(figure, {low: first * step, high: last * step, unit: 'ms'},
                          {low: 0, high: Math.max(...counts), unit: 'frames'});
  counts.forEach((count, i) => {
    const [low, high] = [(first + i) * step, (first + i + 1) * step];
    const [x1, x2, y] = [chart.atX(low), chart.atX(high), chart.atY(count)];
    const bar = add(chart.svg, 'rect', {class: low >= lateFrom ? 'late' : 'bar', x: x1 + 0.5, y,
                                        width: x2 - x1 - 1, height: chart.atY(0) - y,
                                        'data-count': count});
    add(bar, 'title', {}, `${low.toFixed(2)} to ${high.toFixed(2)} ms: ${count}`);
  });
  return chart;
}

function rangeOf(values, median) {
  const low = Math.max(values.reduce((a, b) => Math.min(a, b), Infinity), 0);
  const high = Math.min(values.reduce((a, b) => Math.max(a, b), -Infinity), 4 * median);
  return {low, high: Math.max(high, low + 0.01)};
}

function drawJitter(figure, vsync) {
  const arrivals = vsync.arrivals_us;
  if (arrivals.length < 2) return;
  const limit = Math.max(1.3 * vsync.jitter_us.p99, 1);
  const chart = makeChart(figure, {low: 0, high: vsync.seconds, unit: 's'},
                          {low: -limit, high: limit, unit: 'us'});
  const dots = {dot: '', late: ''};  // those beyond the scale stick to its edge
  for (let i = 1; i < arrivals.length; ++i) {
    const off = arrivals[i] - arrivals[i - 1] - vsync.interval_us.median;
    dots[Math.abs(off) > limit ? 'late' : 'dot'] +=
        `M${chart.atX(arrivals[i] / 1e6).toFixed(1)} ${chart.atY(off).toFixed(1)}h0`;
  }
  for (const sign of [-1, 1]) {
    chart.markY(sign * vsync.jitter_us.median, '');
    chart.markY(sign * vsync.jitter_us.p99, sign > 0 ? 'p99' : '');
  }
  chart.markY(vsync.jitter_us.median, 'p50');
  for (const [name, path] of Object.entries(dots)) add(chart.svg, 'path', {class: name, d: path});
}

function drawFrames(frames) {
  const figure = (name) => document.querySelector(`[data-chart=${name}]`);
  drawHistogram(figure('intervals'), frames.intervals_ms,
                rangeOf(frames.intervals_ms, frames.period_ms), 1.5 * frames.period_ms)
      ?.markX(1.5 * frames.period_ms, 'late from here');
  const stages = [['stages_1_to_2', 'stage_1_to_2_ms'], ['stages_2_to_3', 'stage_2_to_3_ms']];
  const all = stages.flatMap(([name]) => frames[`${name}_ms`]);
  const range = rangeOf(all, Math.max(...stages.map(([, summary]) => frames[summary].median)));
  for (const [name, summary] of stages) {
    const chart = drawHistogram(figure(name), frames[`${name}_ms`], range);
    chart?.markX(frames[summary].median, 'p50');
    chart?.markX(frames[summary].p99, 'p99');
  }
}

function draw() {
  if (record.vsync) drawJitter(document.querySelector('[data-chart=jitter]'), record.vsync);
  if (record.frames) drawFrames(record.frames);
}

removeAbsentParts();
fillTables();
fillFigures();
draw();
addEventListener('resize', draw);
)js";
