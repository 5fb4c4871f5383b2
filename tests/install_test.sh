#!/bin/sh
# Installs the build into a scratch prefix, then builds and runs clients with find_package and, by
# README's command, with pkg-config. Usage: install_test.sh BUILD-DIR SCRATCH-DIR CXX [FLAGS]
set -eu
build=$1 scratch=$2 cxx=$3 flags=${4-}
root=$(realpath "$(dirname "$0")/..")

# The client's polling thread runs at exit, and nobody joins it, by design.
export TSAN_OPTIONS="${TSAN_OPTIONS-} report_thread_leaks=0"

rm -rf "$scratch"
cmake --install "$build" --prefix "$scratch/usr" >/dev/null
library=$(dirname "$(find "$scratch/usr" -name liblmsupport.so)")

cmake -S "$root/examples" -B "$scratch/build" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_PREFIX_PATH="$scratch/usr" >/dev/null
cmake --build "$scratch/build" --target client example-services example-store >/dev/null
"$scratch/build/client" | grep " vsyncs$"
ctest --test-dir "$scratch/build" --output-on-failure --no-tests=error -R 'services|store'

command=$(grep '^g++ ' "$root/README.md")
cp "$root/examples/client.cpp" "$scratch"
(cd "$scratch" && export PKG_CONFIG_PATH="$library/pkgconfig" && eval "$cxx $flags ${command#g++}")
LD_LIBRARY_PATH=$library "$scratch/client" | grep " vsyncs$"

"$scratch/usr/bin/lmctl" --help >/dev/null
