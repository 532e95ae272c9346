#!/bin/sh
# A picture of the main window at work, under a virtual X server:
#   app/window-picture.sh <build folder> [picture]
# The picture goes to docs/window/running.png unless another is named: the emulated
# hardware running, three beams on the scene's sources, the live sound map and the status line.
set -e
build=${1:?usage: window-picture.sh <build folder> [picture]}
root=$(cd "$(dirname "$0")/.." && pwd)
picture=${2:-$root/docs/window/running.png}
mkdir -p "$(dirname "$picture")"
exec xvfb-run -a -s "-screen 0 1920x1200x24" "$build/app/vantoria_window_picture" "$picture"
