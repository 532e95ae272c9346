#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need. Idempotent and quiet when
# everything is there already.
set -euo pipefail

packages=(
  g++ clang cmake ninja-build pkg-config ccache
  qt6-base-dev qt6-base-dev-tools
  libhwy-dev libboost-dev
  libjack-jackd2-dev jackd2 libasound2-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  sox sndfile-tools libsndfile1-dev
  xvfb xauth
  libmysofa-dev libmysofa1 libfftw3-dev  # binaural: SOFA responses (and the KEMAR set), FFTs of the ear filters
  netcdf-bin  # binaural tests: ncgen writes small SOFA files
  liblo-dev liblo-tools  # the OSC server; oscsend for the README's example
  dpkg-dev file help2man  # the Debian package: flags, shlibdeps, cpack's file check, the manual page
  lv2-dev liblilv-dev lilv-utils jalv sordi  # LV2 plug-ins: headers, the test host, lv2ls/lv2info/lv2apply, jalv, sord_validate
  ardour  # LV2 test in a DAW: ardour7-lua and ardour7-export, headless
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
