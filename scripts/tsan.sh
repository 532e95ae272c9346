#!/usr/bin/env bash
# The audio path's threads under ThreadSanitizer: builds, in build-tsan, only the test
# programs of the graph, the streaming file, the stages, the session, the OSC server, the
# LV2 plug-ins' test host and the renderer's pipeline (every ctest entry named graph_*,
# audiofile_*, stages_*, session_*, remote_*, lv2_host_* or render_pipeline_*, less the
# slow ones and the scanner fuzzer, which carries AddressSanitizer of its own), and runs
# them. A report fails its
# test. scripts/tsan.supp names what is silenced, third-party code only, each entry with
# its reason.
#
#   scripts/tsan.sh [CTEST ARGUMENTS...]
#
# Not part of scripts/test.sh: the instrumented build and runs take longer than the CI
# budget leaves (README, "Building, testing and measuring by hand").
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/cmake-configure.sh

# -O1 keeps the reports' lines and the instrumented runs within a few times normal speed.
flags="-O1 -g -DNDEBUG"
vk_configure build-tsan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVK_SANITIZE=thread -DVK_BUILD_BENCH=OFF \
  -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="$flags" -DCMAKE_C_FLAGS_RELWITHDEBINFO="$flags"

pattern='^(graph|audiofile|stages|session|remote|lv2_host|render_pipeline)_'
mapfile -t tests < <(ctest --test-dir build-tsan -N -LE slow -R "$pattern" -E '_fuzz$' |
  sed -n 's/^ *Test *#[0-9]*: *//p')
if [ ${#tests[@]} -eq 0 ]; then
  echo "tsan.sh: no test matches $pattern" >&2
  exit 1
fi
# Helper programs a test starts (the crash test's take writer) come in as its dependencies.
cmake --build build-tsan --target "${tests[@]}"

regex="^($(IFS='|'; echo "${tests[*]}"))\$"
export TSAN_OPTIONS="suppressions=$PWD/scripts/tsan.supp second_deadlock_stack=1 history_size=4 ${TSAN_OPTIONS:-}"
ctest --test-dir build-tsan --output-on-failure -j 2 -R "$regex" "$@"
