#!/usr/bin/env bash
# check_exports.sh LIBDIR: the built link library exports its ten functions and nothing else, and asks the loader
# for exactly the companions that a host installs beside it.
set -euo pipefail
lib=$1/liborvsmtp16_r.so
failed=0
want() { # want WHAT EXPECTED FOUND
    if [[ $2 != "$3" ]]; then
        printf '%s\n  expected: %s\n  found:    %s\n' "$1" "$2" "$3"
        failed=1
    fi
}
exports=$(nm -D --defined-only "$lib" | awk '{print $3}' | LC_ALL=C sort | xargs)
want exports "MsgBrowseForAddress MsgContent MsgDelete MsgFiniLink MsgInitLinkV3 MsgQueryValue MsgReceive MsgSendV3 \
MsgSupportedSettings MsgVerifySetting" "$exports"
dynamic=$(readelf -dW "$lib")
want SONAME liborvsmtp16_r.so.1 "$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' <<< "$dynamic")"
for name in liborvtasks16_r.so libvxtool16_r.so; do
    want "NEEDED $name" "$name" "$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<< "$dynamic" | grep -x "$name" || true)"
done
others=$(sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' <<< "$dynamic" |
    grep -vE '^(liborvtasks16_r\.so|libvxtool16_r\.so|libstdc\+\+\.so\.6|libgcc_s\.so\.1|libc\.so\.6|libm\.so\.6|ld-linux-.*)$' | xargs || true)
want 'other NEEDED' '' "$others"
exit $failed
