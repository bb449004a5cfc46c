#!/usr/bin/env bash
# Builds and runs the demo and the error-handling example: natively, and with
# --wine also the Windows build under Wine.
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

# Builds the demo target of a preset, with whatever the demo depends on.
build_demo() {
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" -j "$jobs" --target kzcommon_demo \
    kzcommon_errors_example
}

build_demo dev
echo "---------- native ----------"
build/dev/bin/kzcommon_demo
echo "---------- error handling, native ----------"
build/dev/bin/kzcommon_errors_example

if [[ $wine -eq 1 ]]; then
  build_demo mingw
  echo "---------- Windows build under Wine ----------"
  WINEDEBUG=${WINEDEBUG:--all} /usr/lib/wine/wine64 \
    build/mingw/bin/kzcommon_demo.exe
  echo "---------- error handling, Windows build under Wine ----------"
  WINEDEBUG=${WINEDEBUG:--all} /usr/lib/wine/wine64 \
    build/mingw/bin/kzcommon_errors_example.exe
fi
