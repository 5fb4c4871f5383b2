#!/bin/sh
# Opens the demo's report in a browser and compares the figures that it shows with the report's record.
# Usage: report_test.sh LMCTL
set -eu
lmctl=$1
dump_page=$(realpath "$(dirname "$0")")/../../scripts/dump-page
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() {
  echo "report_test: $*" >&2
  exit 1
}

"$lmctl" demo --seconds 1 --output . >demo.txt || fail "lmctl demo ended with $?"
sed -n '/id="record"/{n;p}' demo-report.html >record.json

"$dump_page" demo-report.html >dom.html 2>log.txt
! grep CONSOLE log.txt || fail "the page has errors"
title=$(jq -r '"\(.device): vsync of \(.vsync.node) for "' record.json)
grep -qF "<title>$title" dom.html || fail "the title is not the record's"

# Each figure of the page, one a line: path, digits after the point, text.
tr -d '\n' <dom.html | sed 's/<script.*//' | grep -o '<[a-z0-9]* [^>]*data-figure="[^>]*>[^<]*' |
  sed 's/.*data-figure="\([^"]*\)"\( data-digits="\([0-9]*\)"\)\{0,1\}[^>]*>/\1 \3 /' >figures.txt
[ "$(wc -l <figures.txt)" -gt 25 ] || fail "only $(wc -l <figures.txt) figures in the page"
jq -Rnr --slurpfile record record.json '
  inputs | capture("^(?<path>[^ ]*) (?<digits>[0-9]*) (?<text>.*)$") |
  .value = (.path[1:] | split("/") | map(tonumber? // .) as $path | $record[0] | getpath($path)) |
  select((.value | type == "number") and
         ((.text | tonumber) - .value | fabs) > 0.5001 * pow(10; -(.digits | tonumber? // 0)) or
         (.value | type == "string") and .value != .text) |
  "\(.path): \(.text) instead of \(.value)"' figures.txt >wrong.txt
[ ! -s wrong.txt ] || fail "$(cat wrong.txt)"

# Each chart's marks stand for values, some of them late: their sums are the record's.
tr -d '\n' <dom.html | sed 's/<script.*//; s/<figure/\n&/g' | grep '^<figure' >charts.html
check() { # CHART ATTRIBUTE FILTER
  sum=$(grep "data-chart=\"$1\"" charts.html | sed 's/<\/figure>.*//' | grep -o " $2=\"[0-9]*\"" |
    tr -dc '0-9\n' | awk '{ sum += $1 } END { print sum + 0 }')
  [ "$sum" -eq "$(jq "$3" record.json)" ] ||
    fail "$2 of $1 adds up to $sum instead of $(jq "$3" record.json)"
}
check /vsync/intervals data-count '.vsync.events - 1'
check /frames/intervals data-late .frames.late
for chart in intervals stages_1_to_2 stages_2_to_3; do
  check /frames/$chart data-count ".frames.$chart.values | length"
done
