# Sourced by the build scripts: configures one build folder the way every script does.
# vk_configure DIR [CMAKE ARGUMENTS...]: Ninja, warnings as errors, and ccache in front of the
# compilers when it is installed (an empty launcher otherwise, so that a folder configured
# while ccache was there still builds after it is gone).
vk_configure() {
  local dir=$1
  shift
  local launcher=
  command -v ccache >/dev/null && launcher=ccache
  cmake -S . -B "$dir" -G Ninja -DVK_WERROR=ON \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$launcher" -DCMAKE_C_COMPILER_LAUNCHER="$launcher" "$@" >/dev/null
}
