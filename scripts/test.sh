#!/usr/bin/env bash
# Installs what is missing, builds, and runs the whole test suite; then starts and closes
# the application repeatedly under AddressSanitizer with leak checking (build-asan); last,
# the packager's Release build with Clang of the two programs and the unit tests, which it
# runs, so a second compiler's surprises show at once.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
ctest --test-dir build --output-on-failure -j 2 "$@"
scripts/build.sh --asan app_lifecycle_tests
ctest --test-dir build-asan --output-on-failure -R '^app_lifecycle_tests$'
scripts/build-matrix.sh --no-bench --unit-only clang-Release
