#!/bin/sh
# The simulated device's runner: every way a command can end, and a reader that sleeps in a node of a
# module that is removed.
set -eu
run=$(dirname "$0")/../device/run
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

expect() { # STATUS TEXT COMMAND...: the exit status, and a text in the output
  wanted=$1 text=$2 status=0
  shift 2
  "$run" -t 30 -o "$scratch/files" -- "$@" >"$scratch/output" 2>&1 || status=$?
  if [ "$status" -ne "$wanted" ] || ! grep -q -- "$text" "$scratch/output"; then
    echo "device_run_test: '$*' ended with $status instead of $wanted, or without '$text':" >&2
    cat "$scratch/output" >&2
    exit 1
  fi
}

expect 0 "it's \"one\" word" echo "it's \"one\" word"
expect 3 failing sh -c 'echo kept >/results/file; echo failing; exit 3'
grep -qx kept "$scratch/files/file"
# Each word comes in time, and all of them together after more than the limit; then there is silence.
expect 124 fourth sh -c 'for word in first second third fourth; do sleep 10; echo $word; done; sleep 1000'
grep -q "no output for 30 s" "$scratch/output"
expect 125 "no result" sh -c 'echo c >/proc/sysrq-trigger'
expect 0 "read: 1" sh -c 'cat /sys/kernel/lmdevice/frame_data & sleep 1; rmmod lmdevice
  wait $!; echo "read: $?"'
