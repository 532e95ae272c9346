#!/usr/bin/env bash
# Installs what is missing, builds, and starts the application (on the emulated hardware
# unless the settings say otherwise). Arguments go to the application.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display: run 'xvfb-run scripts/run.sh', or use the offline renderer, build/render/vantoria-render --help." >&2
  exit 1
fi
exec build/app/vantoria "$@"
