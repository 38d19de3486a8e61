#!/usr/bin/env bash
# Holds the table of writable globals in docs/architecture.md against the symbols of the library: each must stand in
# the other.  check_globals.sh LIBRARY PAGE
set -euo pipefail
library=$1 page=$2
# Sections that stay writable after the loader is through; what compiler and loader put there is left out.
in_library=$(objdump -tC "$library" |
    awk '$0 ~ / \.(data|bss|tdata|tbss)\t/ {print $NF}' |
    sed 's/.*:://' | grep -vE '^(\.data|\.bss|\.tdata|\.tbss|__dso_handle|__TMC_END__|completed\.[0-9]+|__.*)$' | LC_ALL=C sort -u)
in_page=$(sed -n '/^## Writable globals/,/^## /p' "$page" | sed -n 's/^| `\([^`]*\)` .*/\1/p' | LC_ALL=C sort -u)
if ! diff <(echo "$in_page") <(echo "$in_library"); then
    echo "left: only in $page; right: only in $library" >&2
    exit 1
fi
echo "$(wc -l <<< "$in_page") writable globals, each with its owner and guard"
