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

/** The next round number from value on. */
function roundUp(value) {
  const power = 10 ** Math.floor(Math.log10(value));
  return power * [1, 2, 5, 10].find((factor) => factor * power >= value * (1 - 1e-9));
}

/** The multiples of a round step from low to high, about count. */
function ticks(low, high, count) {
  const step = roundUp((high - low) / count);
  const values = [];
  for (let i = Math.ceil(low / step - 1e-9); i * step <= high + 1e-9 * step; ++i) {
    values.push(Number((i * step).toPrecision(12)));
  }
  return values;
}

/**
 * Starts a chart in a figure. An axis has a range, the values to name on it, and perhaps a function
 * that bends its scale. Returns the drawing and where a value is in it.
 */
function makeChart(figure, x, y) {
  figure.querySelector('svg')?.remove();
  const [left, right, top, bottom, height] = [56, 36, 16, 24, 220];
  const width = figure.clientWidth;
  const svg = add(figure, 'svg', {viewBox: `0 0 ${width} ${height}`, role: 'img',
                                  'aria-label': figure.querySelector('figcaption').textContent});
  const scale = ({low, high, bend = (value) => value}, from, to) => (value) =>
      from + (to - from) * (bend(value) - bend(low)) / (bend(high) - bend(low));
  const line = (className, x1, x2, y1, y2) => add(svg, 'line', {class: className, x1, x2, y1, y2});
  const text = (x, y, anchor, string, className = '') =>
      add(svg, 'text', {x, y, 'text-anchor': anchor, class: className}, string);
  const atX = scale(x, left, width - right);
  const atY = scale(y, height - bottom, top);
  for (const value of y.ticks) {
    line('grid', left, width - right, atY(value), atY(value));
    text(left - 8, atY(value) + 4, 'end', value);
  }
  for (const value of x.ticks) text(atX(value), height - 6, 'middle', value);
  text(width, height - 6, 'end', x.unit);
  return {
    svg, atX, atY,
    markX(value, anchor, string) {
      line('mark', atX(value), atX(value), top, height - bottom);
      text(atX(value) + (anchor === 'end' ? -4 : 4), 11, anchor, string, 'mark');
    },
    markY(value, down, string) {
      for (const mirrored of [value, -value]) {
        line('mark', left, width - right, atY(mirrored), atY(mirrored));
      }
      text(width, atY(value) + down, 'end', string, 'mark');
    },
  };
}

/** Shows how many of the values are in each of equal bins. Those far above go to the last one. */
function drawHistogram(figure, values, median, lateFrom = Infinity) {
  if (values.length === 0) return null;
  const sorted = Float64Array.from(values).sort();
  const percentile = (percent) => sorted[Math.floor((sorted.length - 1) * percent / 100)];
  const low = Math.max(sorted[0], 0);
  const high = Math.max(Math.min(percentile(100), 4 * median), low + 0.1);
  const spread = (percentile(75) - percentile(25)) / Math.cbrt(sorted.length);
  const step = roundUp(Math.max(spread, (high - low) / (figure.clientWidth / 6)));
  const first = Math.floor(low / step);
  const counts = Array(Math.floor(high / step) - first + 1).fill(0);
  for (const value of values) {
    ++counts[Math.min(Math.max(Math.floor(value / step) - first, 0), counts.length - 1)];
  }
  const [begin, end, most] = [first * step, (first + counts.length) * step, Math.max(...counts)];
  const chart = makeChart(
      figure, {low: begin, high: end, unit: 'ms', ticks: ticks(begin, end, figure.clientWidth / 90)},
      {low: 0, high: most, ticks: ticks(0, most, 4)});
  counts.forEach((count, i) => {
    const [from, to] = [begin + i * step, begin + (i + 1) * step];
    const [x, y] = [chart.atX(from), chart.atY(count)];
    const bar = add(chart.svg, 'rect', {
      class: from >= lateFrom ? 'late' : 'bar', 'data-count': count,
      x, y, width: chart.atX(to) - x - 1, height: chart.atY(0) - y,
    });
    add(bar, 'title', {}, `${from.toFixed(2)} to ${to.toFixed(2)} ms: ${count}`);
  });
  return chart;
}

function drawJitter(figure, vsync) {
  const arrivals = vsync.arrivals_us;
  if (arrivals.length < 2) return;
  const high = Math.max(2 * vsync.jitter_us.max, 10);
  const powers = [10, 100, 1000, 10000, 100000, 1e6, 1e7].filter((power) => power <= high);
  const chart = makeChart(
      figure, {low: 0, high: vsync.seconds, unit: 's',
               ticks: ticks(0, vsync.seconds, figure.clientWidth / 90)},
      {low: -high, high, ticks: [0, ...powers, ...powers.map((power) => -power)], bend: Math.asinh});
  chart.markY(vsync.jitter_us.median, 12, 'p50');
  chart.markY(vsync.jitter_us.p99, -2, 'p99');
  let dots = '';
  for (let i = 1; i < arrivals.length; ++i) {
    const off = arrivals[i] - arrivals[i - 1] - vsync.interval_us.median;
    dots += `M${chart.atX(arrivals[i] / 1e6).toFixed(1)} ${chart.atY(off).toFixed(1)}h0`;
  }
  add(chart.svg, 'path', {d: dots});
}

function drawFrames(frames) {
  const figure = (name) => document.querySelector(`[data-chart=${name}]`);
  drawHistogram(figure('intervals'), frames.intervals_ms, frames.period_ms, frames.late_from_ms)
      ?.markX(frames.late_from_ms, 'end', 'late from here');
  for (const [name, summary] of [['stages_1_to_2', frames.stage_1_to_2_ms],
                                 ['stages_2_to_3', frames.stage_2_to_3_ms]]) {
    const chart = drawHistogram(figure(name), frames[`${name}_ms`], summary.median);
    chart?.markX(summary.median, 'end', 'p50');
    chart?.markX(summary.p99, 'start', 'p99');
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
