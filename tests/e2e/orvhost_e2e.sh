#!/usr/bin/env bash
# orvhost_e2e.sh BUILD: the host's program against real servers, as a script of an administrator uses it.
set -euo pipefail
build=$1
here=$(dirname "$0")
[[ -f $build/tests/e2e/plain.env ]] || { echo 'skipped: no mail servers; run through ctest, as root'; exit 77; }
. "$build/tests/e2e/plain.env"

temp=$(mktemp -d)
trap 'rm -rf "$temp"' EXIT
fail() { echo "FAILED: $*" >&2; cat "$temp/log" >&2; exit 1; }

# profile FILE BOX PASSWORD
profile() {
    printf '%s\n' '[link]' "address = $2@example.test" 'smtp_host = 127.0.0.1' "smtp_port = $ORV_E2E_SMTP_PORT" \
        'pop3_host = 127.0.0.1' "pop3_port = $ORV_E2E_POP3_PORT" "pop3_userid = $2" "pop3_password = $3" \
        'local_host = host.example.test' 'suppress_dialogs = yes' > "$temp/$1"
}
host() { "$build/bin64/orvhost" "$@" < /dev/null > "$temp/log" 2>&1; }

await_mail() { # BOX
    local try
    for try in $(seq 100); do
        [[ -z $(ls -A "$ORV_E2E_DIR/mail/$1/new" 2> /dev/null) ]] || return 0
        sleep 0.1
    done
    fail "no mail for $1"
}

profile sender box41 secret-box41
profile receiver box42 secret-box42
profile stranger box42 wrong

# Postfix ends a line at a lone LF and makes a blank of a lone CR, so those stay out here.
python3 -B "$here/framing.py" make-tame "$temp/text"

host --profile "$temp/sender" send --to box42@example.test "$temp/text" || fail 'send'
await_mail box42
host --profile "$temp/receiver" receive --out "$temp/in" || fail 'receive'
received=("$temp"/in/*)
[[ ${#received[@]} -eq 1 ]] || fail "one message expected, got ${received[*]}"
python3 -B "$here/framing.py" compare "$temp/text" "${received[0]}"

host --profile "$temp/receiver" receive --out "$temp/again" || fail 'an empty mailbox is no failure'
[[ -z $(ls -A "$temp/again" 2> /dev/null) ]] || fail 'the message came twice: it was not deleted'
[[ -z $(find "$ORV_E2E_DIR/mail/box42/new" "$ORV_E2E_DIR/mail/box42/cur" -type f) ]] || fail 'the mailbox is not empty'

! host --profile "$temp/stranger" receive --out "$temp/none" || fail 'a wrong password went unnoticed'
! host --profile "$temp/sender" send --to nobody@example.test "$temp/text" || fail 'a refused recipient went unnoticed'
echo passed
