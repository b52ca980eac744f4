#!/usr/bin/env bash
# Fails where a source is not as clang-format 14 would write it. Other versions differ in details,
# so no other will do.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.."

format=$(command -v clang-format-14 || command -v clang-format) || {
  echo "clang-format is not installed" >&2
  exit 1
}
"$format" --version | grep -q 'version 14\.' || {
  echo "clang-format 14 is needed; this is $("$format" --version)" >&2
  exit 1
}
sources() {
  if [ -e .git ]; then
    git ls-files -z --cached --others --exclude-standard -- '*.h' '*.cpp' '*.mm'
  else
    find . -path ./build -prune -o \( -name '*.h' -o -name '*.cpp' -o -name '*.mm' \) -print0
  fi | while IFS= read -r -d '' file; do [ ! -e "$file" ] || printf '%s\0' "$file"; done
}
sources | xargs -0 -n 20 -P 2 "$format" --dry-run -Werror
echo "Every source is formatted."
