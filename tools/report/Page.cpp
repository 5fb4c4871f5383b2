#include <nlohmann/json.hpp>

#include "report/Record.h"

namespace {

constexpr char kStyle[] = R"css(
:root {
  color-scheme: light dark;
  --line: #8886; --soft: #808a94; --bar: #2f7fd0; --band: #2f7fd066; --late: #d9660a;
}
body {
  margin: 0 auto; padding: 1.5rem 1rem 3rem; max-width: 64rem;
  background: Canvas; color: CanvasText; font: 1rem/1.5 system-ui, sans-serif;
}
h1, h2, code { overflow-wrap: anywhere; }
h1 { margin: 0; font-size: 1.6rem; }
h2 { margin: 0 0 .5rem; font-size: 1.15rem; }
p, figcaption, dt, th { color: var(--soft); }
p { margin: .25rem 0; }
b { color: CanvasText; }
section {
  margin-top: 1rem; padding: 1rem 1.25rem; overflow-x: auto;
  border: 1px solid var(--line); border-radius: .5rem;
}
dl { display: grid; grid-template-columns: repeat(auto-fit, minmax(8rem, 1fr)); gap: .5rem 1.25rem; margin: .5rem 0; }
dt, figcaption, figure p { font-size: .9rem; }
dd { margin: 0; font-size: 1.25rem; font-variant-numeric: tabular-nums; }
figure { margin: 1.25rem 0 0; }
figcaption b { display: block; font-size: 1rem; }
svg { display: block; width: 100%; height: auto; margin-top: .5rem; }
svg text { fill: var(--soft); font-size: 12px; }
svg .grid { stroke: var(--line); }
svg text.mark { fill: CanvasText; stroke: Canvas; stroke-width: 3px; paint-order: stroke; }
svg line.mark { stroke: CanvasText; stroke-dasharray: 4 3; }
svg .bar { fill: var(--bar); }
svg .band { fill: var(--band); }
.late { color: var(--late); fill: var(--late); }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { padding: .2rem 1.5rem .2rem 0; border-bottom: 1px solid var(--line); text-align: left; }
)css";

constexpr char kBody[] = R"html(
<header>
  <h1 data-figure="/device"></h1>
  <p><span data-figure="/system"></span>. Watched from <b data-figure="/begun"></b>.</p>
  <p>Each chart shows intervals over time, and beside that how many there were of each length. Where
    there are too many for a dot each, a band stands for the middle 90 %, a line for the median, and a
    dot for the longest. Half of all are no longer than p50, and 99 in 100 no longer than p99.</p>
</header>
<noscript><p>The figures and charts need scripts. The record is in this page's source.</p></noscript>

<section data-part="vsync">
  <h2>Vsyncs</h2>
  <p>From <code data-figure="/vsync/node"></code>, watched for
    <span data-figure="/vsync/seconds" data-digits="1"></span> s. Jitter is how far the time from one
    vsync to the next is from the median.</p>
  <dl>
    <div><dt>Vsyncs</dt><dd data-figure="/vsync/events"></dd></div>
    <div><dt>Rate, Hz</dt><dd data-figure="/vsync/rate_hz" data-digits="1"></dd></div>
    <div><dt>Median jitter, &micro;s</dt><dd data-figure="/vsync/jitter_us/median" data-digits="1"></dd></div>
    <div><dt>Jitter p99, &micro;s</dt><dd data-figure="/vsync/jitter_us/p99" data-digits="1"></dd></div>
    <div><dt>Largest jitter, &micro;s</dt><dd data-figure="/vsync/jitter_us/max" data-digits="1"></dd></div>
  </dl>
  <figure data-chart="/vsync/intervals" data-unit="&micro;s" data-noun="vsyncs">
    <figcaption><b>Did the display keep its pace?</b> The time from each vsync to the next.</figcaption>
  </figure>
</section>

<section data-part="frames">
  <h2>Graphics frames</h2>
  <p>From <code data-figure="/frames/node"></code>, watched for
    <span data-figure="/frames/seconds" data-digits="1"></span> s. A frame is late if it starts more
    than <span data-figure="/frames/late_from_ms" data-digits="2"></span> ms after the one before it,
    one and a half times the median.</p>
  <dl>
    <div><dt>Started</dt><dd data-figure="/frames/frames"></dd></div>
    <div><dt>Finished</dt><dd data-figure="/frames/finished"></dd></div>
    <div><dt>Rate, Hz</dt><dd data-figure="/frames/rate_hz" data-digits="1"></dd></div>
    <div><dt>Late</dt><dd class="late" data-figure="/frames/late"></dd></div>
    <div><dt>Refreshes missed</dt><dd data-figure="/frames/missed_refreshes"></dd></div>
    <div><dt>Longest, ms</dt><dd data-figure="/frames/interval_ms/max" data-digits="2"></dd></div>
  </dl>
  <figure data-chart="/frames/intervals" data-unit="ms" data-noun="frames" data-late="/frames/late_from_ms">
    <figcaption><b>When were frames late?</b> The time from each frame's start to the next. Late ones are
      orange.</figcaption>
  </figure>
  <figure data-chart="/frames/stages_1_to_2" data-unit="ms" data-noun="frames">
    <figcaption><b>From the first stage to the second</b></figcaption>
  </figure>
  <figure data-chart="/frames/stages_2_to_3" data-unit="ms" data-noun="frames">
    <figcaption><b>From the second stage to the third</b></figcaption>
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
<section data-part="favourites"><h2>Favourite applications</h2></section>
<section data-part="statistics"><h2>The kernel's statistics of the system</h2></section>
<section data-part="left_out"><h2>Not measured here</h2></section>
)html";

/** JSON that cannot end the element it is in: "<" is only part of its texts. */
std::string embeddedJson(const nlohmann::ordered_json& record) {
  const std::string json =
      record.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::string embedded;
  for (const char c : json) {
    embedded += c == '<' ? "\\u003c" : std::string(1, c);
  }
  return embedded;
}

}  // namespace

std::string reportPage(const nlohmann::ordered_json& record) {
  return R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy"
  content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>lmctl report</title>
<style>)" +
         std::string(kStyle) + "</style>\n</head>\n<body>" + kBody +
         "<script type=\"application/json\" id=\"record\">\n" + embeddedJson(record) +
         "\n</script>\n<script>" + kReportScript + "</script>\n</body>\n</html>\n";
}
