#!/usr/bin/env bash
# Installs what is missing of tools/packages.txt: `install_packages.sh GROUP...`. As root, or through sudo.
# Services of the packages are not started, and running ones are left alone.
set -euo pipefail
list=$(dirname "$0")/packages.txt

missing=()
while read -r name group _; do
    [[ -z $name || $name == \#* ]] && continue
    [[ " $* " == *" $group "* ]] || continue
    IFS='|' read -ra any <<< "$name"
    states=$(dpkg-query -W -f='${db:Status-Status}\n' "${any[@]}" 2> /dev/null || true)
    grep -qx installed <<< "$states" || missing+=("${any[0]}")
done < "$list"
[[ ${#missing[@]} -gt 0 ]] || exit 0

echo "installing: ${missing[*]}"
root=()
if [[ $(id -u) != 0 ]]; then
    command -v sudo > /dev/null || { echo "not root, and no sudo: install these by hand" >&2; exit 1; }
    root=(sudo)
    [[ ${CI:-} == true ]] && root=(sudo -n)
fi
as_root() { "${root[@]}" env DEBIAN_FRONTEND=noninteractive "$@"; }

# 101 tells the package scripts that no service may be started. A policy that is there already stays.
policy=/usr/sbin/policy-rc.d
if [[ ! -e $policy ]]; then
    trap 'as_root rm -f "$policy"' EXIT
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$policy" > /dev/null
    as_root chmod 755 "$policy"
fi
log=$(mktemp)
as_root apt-get update > "$log" 2>&1 || { cat "$log"; exit 1; }
if [[ " ${missing[*]} " == *" postfix "* ]]; then
    as_root apt-get install -y --no-install-recommends debconf >> "$log" 2>&1
    echo 'postfix postfix/main_mailer_type select No configuration' | as_root debconf-set-selections
fi
as_root apt-get install -y --no-install-recommends "${missing[@]}" >> "$log" 2>&1 || { tail -40 "$log"; exit 1; }
rm -f "$log"
