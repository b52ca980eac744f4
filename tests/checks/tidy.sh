#!/usr/bin/env bash
# tidy.sh BUILD-FOLDER: runs clang-tidy, with the checks of .clang-tidy, over every source that the
# build compiles, but for the tests: their precompiled header is one of another compiler. The build's
# warning options are those of g++, and clang does not know them all.
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../.."

python3 - "$1/compile_commands.json" "$PWD/tests/" <<'PYTHON' |
import json, sys
for file in sorted({entry["file"] for entry in json.load(open(sys.argv[1]))}):
    if file.endswith(".cpp") and not file.startswith(sys.argv[2]):
        print(file, end="\0")
PYTHON
  xargs -0 -n 1 -P "$(nproc)" clang-tidy-16 -p "$1" --quiet \
    --extra-arg=-Wno-unknown-warning-option 2>&1 |
  { grep -v 'warnings\? generated\.$' || true; }
echo "clang-tidy has nothing to say."
