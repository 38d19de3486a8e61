#!/usr/bin/env bash
# Fails on what the compiler takes and this project doesn't. Comments are looked at only for NOLINT.
set -uo pipefail
cd "$(dirname "$0")/.."
failed=0

# ban FOLDERS PATTERN WHY: PATTERN (extended) must not stand in the code of FOLDERS.
ban() {
    local file hits
    while read -r file; do
        hits=$(sed 's://.*::' "$file" | grep -nE "$2") || continue
        printf '%s\n' "$hits" | sed "s|^|$file:|"
        echo "    banned: $3"
        failed=1
    done < <(find $1 -name '*.cpp' -o -name '*.h' | sort)
}

all='src include platform host tools tests fuzz bench'
ban "$all" '\b(strcpy|strcat|sprintf|vsprintf|stpcpy|gets|alloca)[[:space:]]*\(' \
    'unbounded, or bounded by hope: ut_strcpy, ut_strcat, ut_snprintf'
ban "$all" '^[[:space:]]*#[[:space:]]*if[[:space:]]+0' 'dead code goes'
ban src '\bstd::(string|wstring|vector|map|multimap|set|list|deque|function|unordered_[a-z]+|stringstream)\b' \
    'allocates behind our back: running out of memory has a told result here'
ban src '\bnew[[:space:]]+[A-Za-z_]' 'throws without memory: new (std::nothrow)'

while IFS=: read -r file line text; do
    [[ $text =~ NOLINT[A-Z]*\([^\)]*\):?[[:space:]]+[A-Za-z] || $text =~ NOLINTEND ]] && continue
    echo "$file:$line: a NOLINT names its check and carries its reason: // NOLINT(check): why"
    failed=1
done < <(grep -rnE 'NOLINT' $all --include='*.cpp' --include='*.h')
exit $failed
