#!/usr/bin/env bash
# Builds the project as a Debian packager does, with Debian's hardening flags
# (dpkg-buildflags) and warnings as errors, once per compiler and build type, each in its
# own folder build-matrix/COMPILER-TYPE, and runs the unit tests of each.
#
#   scripts/build-matrix.sh [--no-bench] [--unit-only] [COMPILER-TYPE...]
#
# COMPILER is gcc or clang, TYPE one of Debug, Release, RelWithDebInfo, MinSizeRel; without
# any, all eight. --no-bench leaves the benchmarks out. --unit-only builds just the two
# programs and the unit tests with what they link (CI's cheaper check of a second compiler:
# the integration and slow tests' own sources are left out). Every configuration is tried; the
# summary names those that failed, and the exit status is non-zero if any did. On a shared
# machine run it as `nice -n 19 scripts/build-matrix.sh`.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/cmake-configure.sh

bench=ON
targets=all
while [[ "${1:-}" == --* ]]; do
  case "$1" in
    --no-bench) bench=OFF ;;
    --unit-only) targets=unit ;;
    *) echo "unknown option '$1': --no-bench or --unit-only" >&2; exit 2 ;;
  esac
  shift
done
configs=("$@")
if [ ${#configs[@]} -eq 0 ]; then
  for compiler in gcc clang; do
    for type in Debug Release RelWithDebInfo MinSizeRel; do configs+=("$compiler-$type"); done
  done
fi

# The packager's flags for a build type. A debug build is what Debian's "noopt" gives: -O0,
# and without _FORTIFY_SOURCE, which needs the optimiser (glibc warns otherwise). CPPFLAGS
# go with the compiler flags, as debhelper hands them to CMake.
packager_flags() {
  local type=$1 name=$2 options=
  [ "$type" = Debug ] && options=noopt
  DEB_BUILD_OPTIONS=$options DEB_BUILD_MAINT_OPTIONS=hardening=+all dpkg-buildflags --get "$name"
}

# The unit tests of a configured build folder, as ctest lists them. Each one runs the executable
# of its own name (vk_test), which is therefore the target to build.
unit_tests() {
  local names
  names=$(ctest --test-dir "$1" -N -L unit | sed -n 's/^ *Test *#[0-9]*: //p')
  if [ -z "$names" ]; then
    echo "ctest lists no unit tests in $1" >&2
    return 1
  fi
  echo $names
}

build_one() {
  local compiler=${1%%-*} type=${1#*-} cc cxx
  case "$compiler" in
    gcc) cc=gcc cxx=g++ ;;
    clang) cc=clang cxx=clang++ ;;
    *) echo "unknown compiler '$compiler' in '$1': gcc or clang" >&2; return 2 ;;
  esac
  case "$type" in
    Debug|Release|RelWithDebInfo|MinSizeRel) ;;
    *) echo "unknown build type '$type' in '$1'" >&2; return 2 ;;
  esac
  local dir=build-matrix/$1 cppflags ldflags
  cppflags=$(packager_flags "$type" CPPFLAGS)
  ldflags=$(packager_flags "$type" LDFLAGS)
  echo "=== $1: configuring $dir"
  vk_configure "$dir" -DCMAKE_BUILD_TYPE="$type" -DVK_BUILD_BENCH="$bench" \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_C_FLAGS="$(packager_flags "$type" CFLAGS) $cppflags" \
    -DCMAKE_CXX_FLAGS="$(packager_flags "$type" CXXFLAGS) $cppflags" \
    -DCMAKE_EXE_LINKER_FLAGS="$ldflags" -DCMAKE_SHARED_LINKER_FLAGS="$ldflags" \
    -DCMAKE_MODULE_LINKER_FLAGS="$ldflags" || return 1
  echo "=== $1: building"
  if [ "$targets" = unit ]; then
    local units
    units=$(unit_tests "$dir") || return 1
    cmake --build "$dir" --target vantoria vantoria-render $units || return 1
  else
    cmake --build "$dir" || return 1
  fi
  echo "=== $1: unit tests"
  ctest --test-dir "$dir" -L unit -j "$(nproc)" --output-on-failure
}

failed=()
for config in "${configs[@]}"; do
  build_one "$config" || failed+=("$config")
done
echo "=== ${#configs[@]} configurations, $(( ${#configs[@]} - ${#failed[@]} )) built and passed their unit tests"
if [ ${#failed[@]} -gt 0 ]; then
  echo "=== failed: ${failed[*]}" >&2
  exit 1
fi
