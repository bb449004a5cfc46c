#!/usr/bin/env bash
# Prepares a fresh Debian 12 machine for the demo and the tests: installs
# the toolchains (apt-get, as root or through sudo) when any is missing, and
# creates or boots the Wine prefix that the Windows build's tests run in.
# Safe to run again: it only does what is still missing.
#
#   tools/setup.sh                 packages and the Wine prefix
#   WINEPREFIX=<dir>               the prefix to use (default ~/.wine)
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
mkdir -p build/logs

packages=(
  cmake ninja-build g++ clang clang-format llvm git file python3 pkg-config
  libgtest-dev googletest libbenchmark-dev qtbase5-dev libicu-dev
  g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix
  binutils-mingw-w64-x86-64 mingw-w64-x86-64-dev
  wine wine64
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'ok installed' ||
    missing+=("$p")
done
if [[ ${#missing[@]} -gt 0 ]]; then
  echo "setup: installing ${#missing[@]} packages (log in build/logs/apt.log)"
  sudo=()
  [[ $(id -u) -eq 0 ]] || sudo=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  if ! { "${sudo[@]}" apt-get update -q &&
    "${sudo[@]}" apt-get install -y -q "${missing[@]}"; } \
    </dev/null >build/logs/apt.log 2>&1; then
    tail -n 40 build/logs/apt.log
    echo "setup: package installation failed" >&2
    exit 1
  fi
fi

# The Wine prefix: a new one is created, an existing one booted, so that its
# services are up before the first test process (left to that process, the
# start-up can outlast the test discovery's time limit). No Mono or Gecko:
# nothing here needs them, and there may be no one to ask.
export WINEDEBUG=-all
export WINEARCH=win64
prefix=${WINEPREFIX:-${HOME:-/root}/.wine}
mkdir -p "$prefix"
export WINEPREFIX=$prefix
# A persistent server saves a start-up for each test process; if one runs
# already for this prefix, Wine uses it.
wineserver -p 2>/dev/null || true
if [[ ! -f $prefix/system.reg ]]; then
  WINEDLLOVERRIDES="mscoree=;mshtml=" wineboot -i </dev/null \
    >build/logs/wineboot.log 2>&1
else
  WINEDLLOVERRIDES="mscoree=;mshtml=" timeout 600 wineboot </dev/null \
    >build/logs/wineboot.log 2>&1 || true
fi
echo "setup: ready (Wine prefix $prefix)"
