#include "report/Record.h"

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

/** Removes the sections of what the record does not have, and adds the rows of arrays to others. */
function fillSections() {
  for (const section of document.querySelectorAll('[data-part]')) {
    const path = `/${section.dataset.part}`;
    const part = at(path);
    if (part === null || part.length === 0) section.remove();
    else if (Array.isArray(part)) addTable(section, path, part);
  }
}

function addTable(section, path, rows) {
  const table = add(section, 'table');
  const head = add(table, 'tr');
  for (const name of Object.keys(rows[0])) add(head, 'th', {scope: 'col'}, name);
  rows.forEach((row, i) => {
    const line = add(table, 'tr');
    for (const name of Object.keys(row)) add(line, 'td', {'data-figure': `${path}/${i}/${name}`});
  });
}

function fillFigures() {
  for (const element of document.querySelectorAll('[data-figure]')) {
    const value = at(element.dataset.figure);
    element.textContent = typeof value === 'number' ?
        value.toFixed(element.dataset.digits ?? 0) : value ?? 'unknown';
  }
}

/** "pixel: vsync of /a for 10.0 s, frames of /b for 10.0 s, from 2026-11-22 00:51:07 UTC" */
function title() {
  const parts = ['vsync', 'frames'].filter((part) => record[part]).map((part) =>
      `${part} of ${record[part].node} for ${record[part].seconds.toFixed(1)} s`);
  return `${record.device}: ${[...parts, `from ${record.begun}`].join(', ')}`;
}

const clamp = (value, low, high) => Math.min(Math.max(value, low), high);
const scale = (low, high, from, to) => (value) =>
    from + (to - from) * (clamp(value, low, high) - low) / (high - low);
const percentile = (sorted, percent) =>
    sorted[Math.max(Math.ceil(sorted.length * percent / 100) - 1, 0)];

/** The smallest of ..., 0.5, 1, 2, 5, 10, 20, ... that is not below a value. */
function roundUp(value) {
  const power = 10 ** Math.floor(Math.log10(value));
  return power * [1, 2, 5, 10].find((factor) => factor * power >= value * (1 - 1e-9));
}

/** The multiples of a round step from low to high, about count. */
function ticks(low, high, count) {
  const step = roundUp((high - low) / count);
  const first = Math.ceil(low / step - 1e-9);
  const length = Math.floor(high / step + 1e-9) - first + 1;
  return Array.from({length}, (_, i) => Number(((first + i) * step).toPrecision(12)));
}

/** Bins of a round width over a range that shows most values, up to atLeast, but not the outliers. */
function binsOf(sorted, atLeast) {
  const [low, high] = [percentile(sorted, 5), percentile(sorted, 95)];
  const margin = Math.max(high - low, 0.04);
  const top = Math.min(sorted[sorted.length - 1], Math.max(high + margin, atLeast));
  const bottom = Math.max(sorted[0], low - margin);
  const step = roundUp(Math.max((top - bottom) / clamp(2 * Math.sqrt(sorted.length), 8, 50), 0.01));
  const first = Math.floor(bottom / step);
  return {low: first * step, step, count: Math.floor(top / step + 1e-9) + 1 - first};
}

/** Groups values by their keys, in equal parts of a range. What is beyond it goes into the outer ones. */
function inParts(values, keys, low, step, count) {
  const parts = Array.from({length: count}, () => []);
  const indexOf = (key) => clamp(Math.floor((key - low) / step + 1e-9), 0, count - 1);
  values.forEach((value, i) => parts[indexOf(keys[i])].push(value));
  return parts;
}

/** Starts a chart: axes for time at the left, amounts at the right, and lengths for both. */
function makeChart(figure, seconds, most, {low, high}) {
  const {unit, noun} = figure.dataset;
  const [width, left, top, bottom] = [figure.clientWidth, 56, 28, 236];
  const middle = left + 0.72 * (width - left);
  const svg = add(figure, 'svg', {viewBox: `0 0 ${width} 276`, role: 'img',
                                  'aria-label': figure.querySelector('figcaption').textContent});
  const chart = {
    svg, width, columns: Math.floor(middle / 5),
    x: scale(0, seconds, left, middle - 12),
    y: scale(low, high, bottom, top),
    amount: scale(0, most, middle + 12, width - 8),
    line: (name, y) => add(svg, 'line', {class: name, x1: left, x2: width, y1: y, y2: y}),
    text: (x, y, anchor, text, name = '') =>
        add(svg, 'text', {x, y, 'text-anchor': anchor, class: name}, text),
    box: (name, x1, x2, y1, y2) =>
        add(svg, 'rect', {class: name, x: x1, y: y1, width: x2 - x1, height: y2 - y1}),
  };
  const {x, y, amount, text} = chart;
  text(0, 12, 'start', unit);
  for (const value of ticks(low, high, 5)) {
    chart.line('grid', y(value));
    text(left - 8, y(value) + 4, 'end', value);
  }
  for (const value of ticks(0, seconds, middle / 90)) text(x(value), bottom + 18, 'middle', value);
  text((left + middle) / 2, bottom + 36, 'middle', 'seconds since the beginning');
  text(amount(0), bottom + 18, 'start', 0);
  text(amount(most), bottom + 18, 'end', most);
  text(amount(most), bottom + 36, 'end', noun);
  return chart;
}

/** Draws each stretch of time: its values as dots, or many of them as a band below the longest. */
function drawColumns({svg, columns, x, y, box}, values, ends, seconds, limit) {
  const span = seconds / columns;
  inParts(values, ends, 0, span, columns).forEach((column, i) => {
    column.sort((a, b) => a - b);
    const [from, to, isBand] = [x(i * span), x((i + 1) * span), column.length >= 10];
    if (isBand) {
      const [least, median, greatest] = [5, 50, 95].map((percent) => y(percentile(column, percent)));
      box('band', from, to, greatest, least);
      box('bar', from, to, median - 1, median + 1);
    }
    const dots = isBand ? column.slice(-1) : column;
    for (const value of dots) {
      const isLate = value > limit;
      add(svg, 'circle', {class: isLate ? 'late' : 'bar', r: isLate ? 2.5 : 1.8,
                          cx: (from + to) / 2, cy: y(value)});
    }
    add(svg, 'g', {'data-late': column.filter((value) => value > limit).length});
  });
}

/** Draws how many values are in each bin. */
function drawBins({amount, y, box}, bins, low, step, limit, unit) {
  bins.forEach((bin, i) => {
    const [from, to] = [low + i * step, low + (i + 1) * step];
    const name = from >= limit ? 'late' : 'bar';
    const bar = box(name, amount(0), amount(bin.length), y(to), y(from));
    bar.dataset.count = bin.length;
    add(bar, 'title', {}, `${from.toFixed(2)} to ${to.toFixed(2)} ${unit}: ${bin.length}`);
  });
}

/** Draws a chart of the series that a figure names. */
function drawChart(figure) {
  for (const old of figure.querySelectorAll('svg, p')) old.remove();
  const {chart: path, unit, late} = figure.dataset;
  const {values, ends_s: ends} = at(path);
  if (values.length === 0) return figure.remove();
  const {seconds} = record[path.split('/')[1]];
  const limit = late ? at(late) : Infinity;
  const sorted = Float64Array.from(values).sort();
  const {low, step, count} = binsOf(sorted, late ? 2 * limit : 0);
  const high = low + count * step;
  const bins = inParts(values, values, low, step, count);
  const chart = makeChart(figure, seconds, Math.max(...bins.map((bin) => bin.length)), {low, high});
  drawColumns(chart, values, ends, seconds, limit);
  drawBins(chart, bins, low, step, limit, unit);
  for (const percent of [50, 99]) {
    const value = percentile(sorted, percent);
    const isBelow = chart.y(value) - chart.y(percentile(sorted, 99)) < 16 && percent === 50;
    chart.line('mark', chart.y(value));
    chart.text(chart.width, chart.y(value) + (isBelow ? 14 : -4), 'end',
               `p${percent} ${value.toFixed(2)}`, 'mark');
  }
  const beyond = values.filter((value) => value < low || value > high).length;
  if (beyond > 0) {
    const [least, longest] = [0, 100].map((percent) => percentile(sorted, percent).toFixed(1));
    add(figure, 'p', {}, `${beyond} of ${values.length} are beyond the scale and shown at its edge; ` +
                         `all are from ${least} to ${longest} ${unit}.`);
  }
}

const drawCharts = () => document.querySelectorAll('[data-chart]').forEach(drawChart);

document.title = title();
fillSections();
fillFigures();
drawCharts();
addEventListener('resize', drawCharts);
)js";
