#!/usr/bin/env bash
# Rewrites tests/package/exports-posix.txt and exports-windows.txt from the
# modules that the dev and mingw presets build, for when an export is added
# or removed on purpose. Review the diff before committing it.
#
#   tools/update-exports.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
jobs=${KZ_JOBS:-2}
for preset in dev mingw; do
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$jobs" --target kzcommon
  KZ_UPDATE_EXPORTS=1 ctest --preset "$preset" -R '^package\.exports$' -V |
    grep 'check_exports:'
done
git --no-pager diff --stat -- tests/package/exports-posix.txt \
  tests/package/exports-windows.txt || true
