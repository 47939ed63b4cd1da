#!/usr/bin/env bash
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

# scripts/test-share.sh [LIMIT]: how many lines of tests there are beside the code, and their share
# in percent. Lines that are empty or only a comment do not count. Fails above LIMIT percent.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

counted_lines() {
    find "$@" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.py' -o -name '*.sh' \
        -o -name '*.ui' -o -name '*.cmake' \) -print0 |
        xargs -0 /usr/bin/python3 -c '
import re
import sys

total = 0
for path in sys.argv[1:]:
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if path.endswith((".cpp", ".h")):
        # Comments go, texts that look like one stay.
        text = re.sub(r"(\"(?:\\.|[^\"\\\n])*\"|\x27(?:\\.|[^\x27\\\n])\x27)|//[^\n]*|/\*.*?\*/",
                      lambda match: match[1] or "", text, flags=re.DOTALL)
    elif path.endswith(".ui"):
        text = re.sub(r"<!--.*?-->", "", text, flags=re.DOTALL)
    else:
        text = re.sub(r"^\s*#.*$", "", text, flags=re.MULTILINE)
        text = re.sub(r"^\s*\"\"\".*?\"\"\"\s*$", "", text, flags=re.MULTILINE | re.DOTALL)
    total += sum(1 for line in text.splitlines() if line.strip())
print(total)' | awk '{ sum += $1 } END { print sum }'
}

code=$(counted_lines app core store browse ui platform)
tests=$(counted_lines tests)
awk -v code="$code" -v tests="$tests" -v limit="${1:-1000}" 'BEGIN {
    share = 100 * tests / code
    printf "%d lines of tests, %d of code: %.1f %%\n", tests, code, share
    exit share > limit
}'
