#!/usr/bin/env bash
# Configures and builds the project in build/ (Release with debug information), warnings as
# errors. With --asan TARGET...: only those targets, in build-asan, with AddressSanitizer and
# the undefined-behaviour checks on every target of the project, at -O1 so that reports keep
# their lines.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/cmake-configure.sh
if [[ "${1:-}" == --asan ]]; then
  shift
  flags="-O1 -g -DNDEBUG"
  vk_configure build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVK_SANITIZE=address -DVK_BUILD_BENCH=OFF \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="$flags" -DCMAKE_C_FLAGS_RELWITHDEBINFO="$flags"
  cmake --build build-asan --target "$@"
  exit
fi
vk_configure build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build
