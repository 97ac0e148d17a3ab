#!/usr/bin/env bash
# The module must export exactly its five symbols, with C linkage, and nothing else.
set -euo pipefail
module=$1
nm=${2:-nm} # the target's nm in a cross build
expected=$'MyFactory\nPostInstall\n_CHAR_CATEGORIES\n__procinfo\ng_vlPluginID'
actual=$("$nm" -D --defined-only "$module" | awk '{print $3}' | LC_ALL=C sort)
if [ "$actual" != "$expected" ]; then
    echo "unexpected exports of $module:" >&2
    diff <(echo "$expected") <(echo "$actual") >&2 || true
    exit 1
fi
echo "exports: $(echo "$actual" | tr '\n' ' ')"
