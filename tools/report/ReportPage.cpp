#include "report/ReportPage.h"

namespace {

constexpr char kStyle[] = R"css(
:root {
  color-scheme: light dark;
  --page: #f5f6f8; --card: #ffffff; --line: #d5d9df; --text: #1b1f24; --soft: #57606a;
  --bar: #0b5cad; --late: #b34700;
}
@media (prefers-color-scheme: dark) {
  :root {
    --page: #0f1317; --card: #181d23; --line: #343b44; --text: #e6e9ed; --soft: #a3adb8;
    --bar: #6cb4ff; --late: #ffa657;
  }
}
@media print {
  :root {
    --page: #ffffff; --card: #ffffff; --line: #c0c4ca; --text: #000000; --soft: #444444;
    --bar: #0b5cad; --late: #b34700;
  }
  section, figure, tr { break-inside: avoid; }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; padding: 1.5rem 1rem 3rem; max-width: 64rem;
  background: var(--page); color: var(--text); font: 1rem/1.5 system-ui, sans-serif;
}
h1 { margin: 0; font-size: 1.6rem; }
h2 { margin: 0 0 .5rem; font-size: 1.15rem; }
p { margin: .25rem 0; color: var(--soft); }
b { color: var(--text); }
section {
  margin-top: 1rem; padding: 1rem 1.25rem;
  background: var(--card); border: 1px solid var(--line); border-radius: .5rem;
}
section.wide-table { overflow-x: auto; }
dl { display: grid; grid-template-columns: repeat(auto-fit, minmax(8rem, 1fr)); gap: .5rem 1.25rem; margin: .5rem 0; }
dt { color: var(--soft); font-size: .85rem; }
dd { margin: 0; font-size: 1.25rem; font-variant-numeric: tabular-nums; }
dd.alert { color: var(--late); }
code { overflow-wrap: anywhere; }
figure { margin: 1rem 0 0; }
figcaption { color: var(--soft); font-size: .9rem; }
svg { display: block; width: 100%; height: auto; margin-top: .5rem; overflow: visible; }
svg text { fill: var(--soft); font-size: 12px; }
svg text.mark { fill: var(--text); }
svg .grid { stroke: var(--line); }
svg line.mark { stroke: var(--text); stroke-dasharray: 4 3; }
svg .bar { fill: var(--bar); }
svg rect.late { fill: var(--late); }
svg path { fill: none; stroke: var(--bar); stroke-width: 5; stroke-linecap: round; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { padding: .2rem 1.5rem .2rem 0; border-bottom: 1px solid var(--line); text-align: left; }
th { color: var(--soft); font-weight: 600; }
ul { margin: .25rem 0; padding-left: 1.25rem; }
)css";

constexpr char kBody[] = R"html(
<header>
  <h1>lmctl report</h1>
  <p>Made <span data-figure="/made"></span> on <span data-figure="/system"></span></p>
  <p data-part="vsync"><b data-figure="/vsync/events"></b> vsyncs in
    <span data-figure="/vsync/seconds" data-digits="1"></span> s</p>
  <p data-part="frames"><b data-figure="/frames/frames"></b> frames in
    <span data-figure="/frames/seconds" data-digits="1"></span> s,
    <b data-figure="/frames/late"></b> of them late</p>
</header>
<noscript><p>The figures and charts need scripts. The record is in this page's source.</p></noscript>

<section data-part="left_out">
  <h2>Left out</h2>
  <table data-rows="left_out" data-columns="part reason"></table>
</section>

<section data-part="vsync">
  <h2>Vsync events</h2>
  <p>From <code data-figure="/vsync/node"></code>, watched for
    <span data-figure="/vsync/seconds" data-digits="1"></span> s</p>
  <dl>
    <div><dt>Events</dt><dd data-figure="/vsync/events"></dd></div>
    <div><dt>Rate, Hz</dt><dd data-figure="/vsync/rate_hz" data-digits="1"></dd></div>
    <div><dt>Interval p50, us</dt><dd data-figure="/vsync/interval_us/median" data-digits="1"></dd></div>
    <div><dt>Jitter p50, us</dt><dd data-figure="/vsync/jitter_us/median" data-digits="1"></dd></div>
    <div><dt>Jitter p99, us</dt><dd data-figure="/vsync/jitter_us/p99" data-digits="1"></dd></div>
    <div><dt>Jitter largest, us</dt><dd data-figure="/vsync/jitter_us/max" data-digits="1"></dd></div>
  </dl>
  <figure data-chart="jitter">
    <figcaption>Jitter over time, in us: how far each interval is off their median. The scale is
      logarithmic away from zero.</figcaption>
  </figure>
</section>

<section data-part="frames">
  <h2>Graphics frames</h2>
  <p>From <code data-figure="/frames/node"></code>, watched for
    <span data-figure="/frames/seconds" data-digits="1"></span> s</p>
  <dl>
    <div><dt>Started</dt><dd data-figure="/frames/frames"></dd></div>
    <div><dt>Finished</dt><dd data-figure="/frames/finished"></dd></div>
    <div><dt>Late</dt><dd class="alert" data-figure="/frames/late"></dd></div>
    <div><dt>Refreshes missed</dt><dd data-figure="/frames/missed_refreshes"></dd></div>
    <div><dt>Rate, Hz</dt><dd data-figure="/frames/rate_hz" data-digits="1"></dd></div>
    <div><dt>Period, ms</dt><dd data-figure="/frames/period_ms" data-digits="2"></dd></div>
  </dl>
  <figure data-chart="intervals">
    <figcaption>How many frames started how long after the one before, median
      <span data-figure="/frames/interval_ms/median" data-digits="2"></span> ms, p99
      <span data-figure="/frames/interval_ms/p99" data-digits="2"></span> ms, largest
      <span data-figure="/frames/interval_ms/max" data-digits="2"></span> ms. The last bar has all
      that took longer, too.</figcaption>
  </figure>
  <figure data-chart="stages_1_to_2">
    <figcaption>How many frames took how long from the first stage to the second, median
      <span data-figure="/frames/stage_1_to_2_ms/median" data-digits="2"></span> ms, p99
      <span data-figure="/frames/stage_1_to_2_ms/p99" data-digits="2"></span> ms</figcaption>
  </figure>
  <figure data-chart="stages_2_to_3">
    <figcaption>How many frames took how long from the second stage to the third, median
      <span data-figure="/frames/stage_2_to_3_ms/median" data-digits="2"></span> ms, p99
      <span data-figure="/frames/stage_2_to_3_ms/p99" data-digits="2"></span> ms</figcaption>
  </figure>
</section>

<section>
  <h2>Memory</h2>
  <dl>
    <div><dt>Swap used, kB</dt><dd data-figure="/memory/swap_used_kb"></dd></div>
    <div><dt>Swap in all, kB</dt><dd data-figure="/memory/swap_total_kb"></dd></div>
    <div><dt>Vmalloc used, kB</dt><dd data-figure="/memory/vmalloc_used_kb"></dd></div>
  </dl>
</section>

<section data-part="favourites">
  <h2>Favourite applications</h2>
  <table data-rows="favourites" data-columns="app slot"></table>
</section>

<section class="wide-table" data-part="statistics">
  <h2>The kernel's statistics of the system</h2>
  <table data-rows="statistics" data-columns="slot hex"></table>
</section>
)html";

/** JSON that cannot end the element it is in: "<" is only part of its texts. */
std::string embeddedJson(const Rows& record) {
  const std::string json = record.dump(-1, ' ', false, Rows::error_handler_t::replace);
  std::string embedded;
  for (const char c : json) {
    embedded += c == '<' ? "\\u003c" : std::string(1, c);
  }
  return embedded;
}

}  // namespace

std::string reportPage(const Rows& record) {
  std::string page = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy"
  content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>lmctl report</title>
<style>)";
  page += kStyle;
  page += "</style>\n</head>\n<body>";
  page += kBody;
  page += "<script type=\"application/json\" id=\"record\">\n" + embeddedJson(record) +
          "\n</script>\n<script>";
  page += kReportScript;
  return page + "</script>\n</body>\n</html>\n";
}
