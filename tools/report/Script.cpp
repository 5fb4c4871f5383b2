#include "report/Report.h"

const char kReportScript[] = R"js(
'use strict';

const record = JSON.parse(document.getElementById('record').textContent);
const at = (path) => path.split('/').slice(1).reduce((value, name) => value?.[name], record);

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
    for (const name of names) add(head, 'th', {scope: 'col'}, name);
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

const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

/** Percentiles of the values, and a range that shows most of them, up to atLeast, but not the outliers. */
function rangeOf(values, resolution, atLeast = 0) {
  const sorted = Float64Array.from(values).sort();
  const percentile = (percent) => sorted[Math.floor((sorted.length - 1) * percent / 100)];
  const margin = Math.max(percentile(95) - percentile(5), 4 * resolution);
  const low = Math.max(sorted[0], percentile(5) - margin);
  const high = Math.min(percentile(100), Math.max(percentile(95) + margin, atLeast));
  return {percentile, low, high: Math.max(high, low + 2 * resolution)};
}

/** Starts a chart in a figure. An axis has a range, a title, and values to name. */
function makeChart(figure, x, y) {
  for (const old of figure.querySelectorAll('svg, p')) old.remove();
  const [left, right, top, bottom, height] = [60, 36, 36, 44, 260];
  const width = figure.clientWidth;
  const svg = add(figure, 'svg', {viewBox: `0 0 ${width} ${height}`, role: 'img',
                                  'aria-label': figure.querySelector('figcaption').textContent});
  const scale = ({low, high}, from, to) => (value) =>
      from + (to - from) * (value - low) / (high - low);
  const line = (className, x1, x2, y1, y2) => add(svg, 'line', {class: className, x1, x2, y1, y2});
  const text = (x, y, anchor, string, className = '') =>
      add(svg, 'text', {x, y, 'text-anchor': anchor, class: className}, string);
  const atX = scale(x, left, width - right);
  const atY = scale(y, height - bottom, top);
  for (const value of y.ticks) {
    line('grid', left, width - right, atY(value), atY(value));
    text(left - 8, atY(value) + 4, 'end', value);
  }
  for (const value of x.ticks) text(atX(value), height - bottom + 18, 'middle', value);
  text(0, 12, 'start', y.title);
  text((left + width - right) / 2, height - 6, 'middle', x.title);
  return {
    svg, atX, atY,
    note: (string) => add(figure, 'p', {}, string),
    markX(value, anchor, string) {
      const x = atX(value);
      const isLeft = anchor === 'end' || x > width - 2 * right;
      line('mark', x, x, top - 4, height - bottom);
      text(x + (isLeft ? -4 : 4), 28, isLeft ? 'end' : 'start', string, 'mark');
    },
    markY(value, down, string) {
      line('mark', left, width - right, atY(value), atY(value));
      text(width, atY(value) + down, 'end', string, 'mark');
    },
  };
}

const figureOf = (name) => document.querySelector(`[data-chart=${name}]`);

/** Bins of equal width over a range, each with its values; those beyond it are at its edges. */
function binsOf(values, {low, high, percentile}, resolution, mostBins) {
  const spread = (percentile(75) - percentile(25)) / Math.cbrt(values.length);
  const step = roundUp(Math.max(spread, (high - low) / mostBins, resolution));
  const indexOf = (value) => Math.floor(value / step + 1e-9);
  const first = indexOf(low);
  const count = indexOf(high) - first + 1;
  const bins = Array.from({length: count}, (_, i) => (
      {from: (first + i) * step, to: (first + i + 1) * step, values: []}));
  for (const value of values) bins[clamp(indexOf(value) - first, 0, count - 1)].values.push(value);
  return bins;
}

/** Says how many values a chart shows at its edge. */
function noteBeyond(chart, values, {low, high, percentile}, unit) {
  const beyond = values.filter((value) => value < low || value > high).length;
  if (beyond === 0) return;
  chart.note(`${beyond} of ${values.length} are beyond the scale and shown at its edge; all are ` +
             `from ${percentile(0).toFixed(1)} to ${percentile(100).toFixed(1)} ${unit}.`);
}

/** Shows how many of the values are in each of equal bins. */
function drawHistogram(name, values, summary, {unit, resolution, noun, title, lateFrom}) {
  const figure = figureOf(name);
  if (values.length === 0) return figure?.remove();
  const range = rangeOf(values, resolution, 2 * (lateFrom ?? 0));
  const bins = binsOf(values, range, resolution, figure.clientWidth / 8);
  const most = Math.max(...bins.map((bin) => bin.values.length));
  const [low, high] = [bins[0].from, bins[bins.length - 1].to];
  const chart = makeChart(
      figure, {low, high, title, ticks: ticks(low, high, figure.clientWidth / 90)},
      {low: 0, high: most, title: noun, ticks: ticks(0, most, 4)});
  const limit = (value) => value.toFixed(-Math.log10(resolution));
  for (const {from, to, values: inBin} of bins) {
    const isLate = inBin.length > 0 && inBin.every((value) => value > lateFrom);
    const [left, top] = [chart.atX(from), chart.atY(inBin.length)];
    const bar = add(chart.svg, 'rect', {
      class: isLate ? 'late' : 'bar', 'data-count': inBin.length,
      x: left, y: top, width: chart.atX(to) - left - 1, height: chart.atY(0) - top,
    });
    add(bar, 'title', {}, `${limit(from)} to ${limit(to)} ${unit}: ${inBin.length}`);
  }
  chart.markX(clamp(summary.median, low, high), 'end', `p50 ${limit(summary.median)}`);
  chart.markX(clamp(summary.p99, low, high), 'start', `p99 ${limit(summary.p99)}`);
  noteBeyond(chart, values, range, unit);
}

/** Shows each value as a dot at its time. */
function drawDots(chart, times, values, {low, high}, lateFrom) {
  values.forEach((value, i) => {
    const isLate = value > lateFrom;
    add(chart.svg, 'circle', {
      class: isLate ? 'late' : 'bar', 'data-count': 1, 'data-late': Number(isLate), r: 2.5,
      cx: chart.atX(times[i]), cy: chart.atY(clamp(value, low, high)),
    });
  });
}

/** Shows many values as columns: the middle of those of a stretch of time, and the longest. */
function drawColumns(chart, times, values, seconds, count, {low, high}, lateFrom) {
  const columns = Array.from({length: count}, () => []);
  values.forEach((value, i) => columns[clamp(Math.floor(times[i] / seconds * count), 0, count - 1)].push(value));
  columns.forEach((column, i) => {
    if (column.length === 0) return;
    const sorted = Float64Array.from(column).sort();
    const y = (part) => chart.atY(clamp(sorted[Math.floor((sorted.length - 1) * part)], low, high));
    const x = chart.atX(i * seconds / count);
    const width = chart.atX((i + 1) * seconds / count) - x;
    add(chart.svg, 'rect', {
      class: 'band', x, width, y: y(0.95), height: Math.max(y(0.05) - y(0.95), 1),
      'data-count': column.length, 'data-late': column.filter((value) => value > lateFrom).length,
    });
    add(chart.svg, 'rect', {class: 'bar', x, width, y: y(0.5) - 1, height: 2});
    const isLate = sorted[sorted.length - 1] > lateFrom;
    add(chart.svg, 'circle', {class: isLate ? 'late' : 'bar', r: isLate ? 2.5 : 1.2,
                              cx: x + width / 2, cy: y(1)});
  });
  chart.note('Each column is a stretch of time: the wide bar is the middle 90 %, the line in it the ' +
             'median, and the dot the longest.');
}

function drawOverTime(name, times, values, summary, {unit, resolution, seconds, lateFrom}) {
  const figure = figureOf(name);
  if (values.length === 0) return figure?.remove();
  const range = rangeOf(values, resolution, 2 * (lateFrom ?? 0));
  const y = {low: range.low, high: range.high, ticks: ticks(range.low, range.high, 4),
             title: `interval, ${unit}`};
  const chart = makeChart(
      figure, {low: 0, high: seconds, ticks: ticks(0, seconds, figure.clientWidth / 90),
               title: 'time since the beginning, s'}, y);
  const columns = Math.floor(figure.clientWidth / 5);
  if (values.length <= 2 * figure.clientWidth) {
    drawDots(chart, times, values, range, lateFrom);
  } else {
    drawColumns(chart, times, values, seconds, columns, range, lateFrom);
  }
  chart.markY(clamp(summary.median, range.low, range.high), 14, 'p50');
  chart.markY(clamp(summary.p99, range.low, range.high), -4, 'p99');
  noteBeyond(chart, values, range, unit);
}

function drawVsyncs({arrivals_us: arrivals, interval_us: summary, seconds}) {
  const intervals = arrivals.slice(1).map((arrival, i) => arrival - arrivals[i]);
  const times = arrivals.slice(1).map((arrival) => arrival / 1e6);
  const style = {unit: '\u00b5s', resolution: 0.1, noun: 'vsyncs', seconds,
                 title: 'time since the vsync before, \u00b5s'};
  drawOverTime('vsyncs_over_time', times, intervals, summary, style);
  drawHistogram('vsync_intervals', intervals, summary, style);
}

function drawFrames(frames) {
  const style = {unit: 'ms', resolution: 0.01, noun: 'frames', seconds: frames.seconds};
  const intervals = {...style, lateFrom: frames.late_from_ms, title: 'time since the start of the frame before, ms'};
  drawOverTime('frames_over_time', frames.interval_ends_s, frames.intervals_ms, frames.interval_ms, intervals);
  drawHistogram('intervals', frames.intervals_ms, frames.interval_ms, intervals);
  const stages = {...style, title: 'time between the stages, ms'};
  for (const name of ['stages_1_to_2', 'stages_2_to_3']) {
    drawHistogram(name, frames[`${name}_ms`], frames[name.replace('stages', 'stage') + '_ms'], stages);
  }
}

function draw() {
  if (record.vsync) drawVsyncs(record.vsync);
  if (record.frames) drawFrames(record.frames);
}

removeAbsentParts();
fillTables();
fillFigures();
draw();
addEventListener('resize', draw);
)js";
