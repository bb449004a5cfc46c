#!/usr/bin/env bash
# Builds kzmsg and runs `kzmsg demo`, the whole road of a failure: a client
# component with its own catalog raises through the queue, logs, reads and
# clears the queue, then publishes on the thread's error object. Natively,
# and with --wine also the Windows build under Wine.
#
#   tools/run-demo.sh [--wine]
#   KZ_JOBS=N        build jobs (default 2)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=${KZ_JOBS:-2}
wine=0
case ${1:-} in
  "") ;;
  --wine) wine=1 ;;
  *)
    echo "usage: $0 [--wine]" >&2
    exit 2
    ;;
esac

# Builds kzmsg of a preset, with the library and the demo's catalog.
build_kzmsg() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" -j "$jobs" --target kzmsg
}

build_kzmsg dev
echo "---------- kzmsg demo, native ----------"
build/dev/bin/kzmsg demo

if [[ $wine -eq 1 ]]; then
  build_kzmsg mingw
  echo "---------- kzmsg demo, Windows build under Wine ----------"
  WINEDEBUG=${WINEDEBUG:--all} /usr/lib/wine/wine64 build/mingw/bin/kzmsg.exe \
    demo
fi
