#!/usr/bin/env bash
# The Debian package as a user receives it: made by cpack from the build, listed with dpkg -c,
# unpacked with dpkg -x, both programs run from the unpacked tree, and every shared library
# they load provided by a package the control file declares: directly for each library a
# program links against, through the declared packages' own dependencies for the rest.
# Every check runs and reports; the exit status is the number of failed checks.
#
#   PackageTest.sh BUILD_DIR WORK_DIR VERSION
set -uo pipefail
build=$1 work=$2 version=$3
failures=0
fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

rm -rf "$work" && mkdir -p "$work" || exit 1
if ! cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1; then
  cat "$work/cpack.log" >&2
  echo "FAIL: cpack could not make the package" >&2
  exit 1
fi
deb=$work/vantoria_${version}_$(dpkg --print-architecture).deb
if [ ! -f "$deb" ]; then
  echo "FAIL: no $(basename "$deb"); cpack wrote: $(ls "$work")" >&2
  exit 1
fi

# --- What the package holds.
dpkg -c "$deb" | awk '{ print $6 }' >"$work/contents"
for path in usr/bin/vantoria usr/bin/vantoria-render usr/share/applications/vantoria.desktop \
  usr/share/icons/hicolor/512x512/apps/vantoria.png usr/share/man/man1/vantoria-render.1.gz \
  usr/lib/lv2/vantoria.lv2/manifest.ttl usr/lib/lv2/vantoria.lv2/beamformer.ttl usr/lib/lv2/vantoria.lv2/binaural.ttl \
  usr/lib/lv2/vantoria.lv2/encoder.ttl \
  usr/lib/lv2/vantoria.lv2/vantoria_lv2.so; do
  grep -qx "\./$path" "$work/contents" || fail "$path is not in the package"
done
[ "$(dpkg-deb -f "$deb" Package)" = vantoria ] || fail "the package is not named vantoria"
[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "the package's version is not $version"

# --- Both programs from the unpacked tree, without a display.
root=$work/root
dpkg -x "$deb" "$root" || exit 1
bin=$root/usr/bin
run() { env -u DISPLAY -u WAYLAND_DISPLAY "$@"; }
for program in vantoria vantoria-render; do
  said=$(run "$bin/$program" --version 2>&1)
  [ "$said" = "$program $version" ] || fail "$program --version printed '$said'"
done
beams=$work/beams.wav
if run "$bin/vantoria-render" --scene --duration 2 --beam 30,90,card3 --beam 150,60,hyper3 -q -o "$beams"; then
  # sox reads what the packaged program wrote: two beams, two seconds (whole blocks of 512).
  [ "$(soxi -c "$beams")" = 2 ] || fail "the render has $(soxi -c "$beams") channels, not 2"
  frames=$(soxi -s "$beams")
  [ "$frames" -ge 88200 ] && [ "$frames" -lt $((88200 + 512)) ] || fail "the render has $frames frames, not 2 s at 44100 Hz"
else
  fail "vantoria-render could not render two seconds of the scene"
fi

# --- The manual page knows every option of the packaged program's --help.
page=$(zcat "$root/usr/share/man/man1/vantoria-render.1.gz" | sed 's/\\-/-/g')
grep -q "^\.TH VANTORIA-RENDER \"1\" .*$version" <<<"$page" || fail "the manual page's title does not name version $version"
for option in $(run "$bin/vantoria-render" --help | grep -o -- '--[a-z][a-z-]*' | sort -u); do
  grep -q -- "$option" <<<"$page" || fail "the manual page does not mention $option"
done

# --- Libraries: each one loaded (ldd) comes from a package. One dpkg -S for all of them
# (it reads the whole file database each time); a library may be known to dpkg under /lib,
# /usr/lib or its real path.
names() { tr ',|' '\n\n' | sed -E 's/\(.*\)//; s/:any//; s/[[:space:]]//g' | grep -v '^$'; }
spellings() { sed -E 's#^/usr/lib/#/lib/#; t; s#^/lib/#/usr/lib/#' <<<"$1"; readlink -f "$1"; }
loads=() # "FILE LIBRARY PATH"
while IFS= read -r -d '' file; do
  file -b "$file" | grep -q '^ELF' || continue
  loaded=$(ldd "$file")
  if grep -q 'not found' <<<"$loaded"; then fail "${file#"$root"}: $(grep 'not found' <<<"$loaded" | tr -s ' \t\n' ' ')"; fi
  while read -r lib _ path _; do
    [ "${path:0:1}" = / ] && loads+=("$file $lib $path")
  done <<<"$loaded"
done < <(find "$root" -type f -print0)
declare -A holder
paths=$(for load in "${loads[@]}"; do path=${load##* }; echo "$path"; spellings "$path"; done | sort -u)
while IFS= read -r line; do
  holder[${line##*: }]=$(sed -E 's/[:,].*//' <<<"$line")
done < <(dpkg -S $paths 2>/dev/null | grep -v '^diversion')
package_of() {
  for p in "$1" $(spellings "$1"); do
    [ -n "${holder[$p]:-}" ] && echo "${holder[$p]}" && return
  done
}

depends=$(dpkg-deb -f "$deb" Depends | names | sort -u)
[ -n "$depends" ] || fail "the package declares no dependencies"

# The declared packages with everything they depend on, installed here; a virtual package
# stands for the installed packages that provide it.
declare -A reach
declare -A dependencies
while read -r pkg deps; do
  dependencies[$pkg]+=" $deps"
done < <(dpkg-query -W -f='${Package}\t${Depends}, ${Pre-Depends}\t${Provides}\n' | awk -F'\t' '
  function names(field, out,   n, i, parts) {
    gsub(/\([^)]*\)|:any|[[:space:]]/, "", field)
    n = split(field, parts, /[,|]/)
    for (i = 1; i <= n; i++) if (parts[i] != "") out[parts[i]] = 1
  }
  { delete d; delete p; names($2, d); names($3, p)
    line = $1; for (x in d) line = line " " x; print line
    for (x in p) print x, $1 }')
queue=($depends)
while [ ${#queue[@]} -gt 0 ]; do
  pkg=${queue[0]}
  queue=("${queue[@]:1}")
  [ -n "${reach[$pkg]:-}" ] && continue
  reach[$pkg]=1
  queue+=(${dependencies[$pkg]:-})
done

# A library the file links against must be named in Depends; one it loads through another
# library must come with a declared package.
for load in "${loads[@]}"; do
  read -r file lib path <<<"$load"
  name=${file#"$root"}
  pkg=$(package_of "$path")
  if [ -z "$pkg" ]; then
    fail "$name loads $path, which no installed package holds"
  elif readelf -d "$file" | grep -q "(NEEDED).*\[$lib\]"; then
    grep -qx "$pkg" <<<"$depends" || fail "$name links against $lib of $pkg, which Depends does not name"
  else
    [ -n "${reach[$pkg]:-}" ] || fail "$name loads $lib of $pkg, which no declared package brings"
  fi
done

echo "Depends: $(dpkg-deb -f "$deb" Depends)"
echo "${#loads[@]} libraries loaded by $(grep -c . <<<"$(printf '%s\n' "${loads[@]}" | cut -d' ' -f1 | sort -u)") programs, "\
"$(wc -l <"$work/contents") entries in $(basename "$deb"), $failures failed checks"
exit $((failures > 0))
