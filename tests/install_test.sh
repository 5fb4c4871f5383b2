#!/bin/sh
# Installs the build into a scratch prefix, then builds and runs a client with find_package and with
# pkg-config. Usage: install_test.sh BUILD-DIR SCRATCH-DIR CXX [FLAGS]
set -eu
build=$1 scratch=$2 cxx=$3 flags=${4-}
source=$(dirname "$0")/consumer

rm -rf "$scratch"
cmake --install "$build" --prefix "$scratch/usr" >/dev/null
library=$(dirname "$(find "$scratch/usr" -name liblmsupport.so)")

cmake -S "$source" -B "$scratch/build" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$flags" \
  -DCMAKE_PREFIX_PATH="$scratch/usr" >/dev/null
cmake --build "$scratch/build" >/dev/null
"$scratch/build/consumer"

export PKG_CONFIG_PATH="$library/pkgconfig"
# shellcheck disable=SC2046,SC2086  # lists of flags
"$cxx" $flags -std=gnu++20 "$source/consumer.cpp" -o "$scratch/consumer" \
  $(pkg-config --cflags --libs lmsupport)
LD_LIBRARY_PATH=$library "$scratch/consumer"

"$scratch/usr/bin/lmctl" --help >/dev/null
test -s "$scratch/usr/share/man/man1/lmctl.1"
# Bash completes a command, an option, a file and a folder from the words typed.
(
  cd "$scratch"
  bash -uc '. usr/share/bash-completion/completions/lmctl
    completes() {
      expected=$1 COMP_WORDS=("${@:2}") COMP_CWORD=$(($# - 2))
      "$(complete -p lmctl | sed "s/.*-F \([^ ]*\).*/\1/")"
      [[ "${COMPREPLY[*]}" == "$expected" ]] || { echo "$*: ${COMPREPLY[*]}"; exit 1; }
    }
    completes doctor lmctl doc
    completes "vsync gfx thermal" lmctl --item 7 = build watch ""
    completes --trace lmctl watch vsync --node x --t
    completes consumer lmctl db dump cons
    completes usr lmctl favourites rebuild --dir u'
)
