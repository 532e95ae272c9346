#!/bin/sh
# Pictures of the main window at work, under a virtual X server:
#   app/window-picture.sh <build folder> [picture [WIDTHxHEIGHT]]
# With a picture named, one picture of the window as the program opens it on a 1920x1200
# screen, or at the size given on a screen of that size. Without, into docs/window/:
# running.png as the program opens it, and the window filling a laptop's 1280x720 and
# 1366x768 and a 1920x1080 screen (screen-WIDTHxHEIGHT.png). Each shows the emulated
# hardware running, three beams on the scene's sources, the live sound map and the
# status line.
set -e
build=${1:?usage: window-picture.sh <build folder> [picture [WIDTHxHEIGHT]]}
root=$(cd "$(dirname "$0")/.." && pwd)
program=$build/app/vantoria_window_picture
take() { # picture screen [size]
    picture=$1 screen=$2
    shift 2
    mkdir -p "$(dirname "$picture")"
    xvfb-run -a -s "-screen 0 ${screen}x24" "$program" "$picture" "$@"
}
if [ $# -ge 2 ]; then
    picture=$2
    size=${3:-}
    if [ -n "$size" ]; then take "$picture" "$size" "$size"; else take "$picture" 1920x1200; fi
    exit
fi
take "$root/docs/window/running.png" 1920x1200
for size in 1280x720 1366x768 1920x1080; do
    take "$root/docs/window/screen-$size.png" "$size" "$size"
done
