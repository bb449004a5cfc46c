#!/usr/bin/env bash
# Checks every tracked C++ file against the repository's .clang-format and
# fails on any difference. With --fix, formats the files in place instead.
#
#   tools/check-format.sh [--fix]
#   CLANG_FORMAT=clang-format-14 tools/check-format.sh
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
clang_format=${CLANG_FORMAT:-clang-format}
fix=0
if [[ ${1:-} == --fix ]]; then
  fix=1
elif [[ $# -gt 0 ]]; then
  echo "usage: $0 [--fix]" >&2
  exit 2
fi

patterns=('*.cpp' '*.cc' '*.h' '*.hpp' '*.inc')
if git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  mapfile -t files < <(git ls-files -- "${patterns[@]}")
else
  mapfile -t files < <(find . -path ./build -prune -o -type f \
    \( -name '*.cpp' -o -name '*.cc' -o -name '*.h' -o -name '*.hpp' \
       -o -name '*.inc' \) -print | sed 's|^\./||' | sort)
fi
if [[ ${#files[@]} -eq 0 ]]; then
  echo "format: no C++ files found" >&2
  exit 1
fi

if [[ $fix -eq 1 ]]; then
  "$clang_format" -i "${files[@]}"
  echo "format: formatted ${#files[@]} files"
  exit 0
fi

# One run over all files; its messages name the files that differ.
messages=$("$clang_format" --dry-run --Werror "${files[@]}" 2>&1) || true
mapfile -t bad < <(sed -nE 's/^([^:]+):[0-9]+:[0-9]+: error: .*/\1/p' \
  <<<"$messages" | sort -u)
if [[ ${#bad[@]} -eq 0 && -n $messages ]]; then
  printf '%s\n' "$messages"
  echo "format: $clang_format failed"
  exit 1
fi
if [[ ${#bad[@]} -gt 0 ]]; then
  for file in "${bad[@]}"; do
    echo "format: $file differs from .clang-format:"
    diff -u "$file" <("$clang_format" "$file") | sed -n '3,40p' || true
  done
  echo "format: ${#bad[@]} of ${#files[@]} files need tools/check-format.sh --fix"
  exit 1
fi
echo "format: ${#files[@]} files match .clang-format"
