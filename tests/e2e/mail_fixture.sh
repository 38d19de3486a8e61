#!/usr/bin/env bash
# Real mail servers for the end-to-end tests: Postfix for SMTP, Dovecot for POP3 and logins, stunnel for TLS.
#   mail_fixture.sh start DIR [VARIANT]   starts the servers, with all state in DIR, which must not exist
#   mail_fixture.sh stop DIR              ends what `start` began, by the pid files, and removes DIR
#   mail_fixture.sh up FOLDER VARIANT...  starts several at the same time, in temporary folders; FOLDER/VARIANT.env
#                                         says where. What an interrupted run has left there is ended first
#   mail_fixture.sh down FOLDER           ends what `up` began
# VARIANT: plain (default); login (mail from clients without a login is refused); loginmech (the same, and LOGIN is
# the only mechanism of SMTP); tls (both servers speak TLS only, and stunnel stands in front of them).
# Every folder above DIR needs o+x, since the servers change users.
# `start` writes DIR/env: ORV_E2E_DIR, ORV_E2E_VARIANT, ORV_E2E_SMTP_PORT and ORV_E2E_POP3_PORT as shell text.
# Everything listens on 127.0.0.1. Mailboxes: box01 to box60 at example.test, passwords secret-box01 to
# secret-box60, so that each test takes boxes of its own; no mail leaves the machine.
# Exit code 77: not root, which Postfix needs. Tried on Debian 12: Postfix 3.7, Dovecot 2.3, stunnel 5.68.
set -euo pipefail

mail_uid=5000 # owns the mail; no account has to have this number
boxes=60

lines() { printf '%s\n' "$@"; }
say() { echo "mail_fixture: $*" >&2; }

# Prints COUNT free ports. They are free at this moment only; `start` tries anew when one gets lost.
free_ports() {
    python3 - "$1" << 'PY'
import socket, sys
held = [socket.socket() for _ in range(int(sys.argv[1]))]
for s in held:
    s.bind(("127.0.0.1", 0))
print(*[s.getsockname()[1] for s in held])
PY
}

write_postfix() { # DIR PORT
    local box number
    lines 'compatibility_level = 3.6' "queue_directory = $1/spool" "data_directory = $1/data" \
        "maillog_file = $1/log/postfix.log" "maillog_file_prefixes = $1/log" \
        'inet_interfaces = 127.0.0.1' 'inet_protocols = ipv4' 'myhostname = mx.example.test' \
        'mydestination =' 'mynetworks =' 'alias_maps =' 'smtpd_peername_lookup = no' 'smtpd_error_sleep_time = 0' \
        'virtual_mailbox_domains = example.test' "virtual_mailbox_base = $1/mail" \
        "virtual_mailbox_maps = texthash:$1/postfix/boxes" \
        "virtual_uid_maps = static:$mail_uid" "virtual_gid_maps = static:$mail_uid" \
        'smtpd_sasl_auth_enable = yes' 'smtpd_sasl_type = dovecot' 'smtpd_sasl_path = private/auth' \
        'smtpd_relay_restrictions = permit_sasl_authenticated, reject_unauth_destination' \
        'default_transport = error:5.1.1 no mail leaves this machine' > "$1/postfix/main.cf"
    # The fifth column says no chroot. Without postlog and the log prefixes `postfix start` refuses to go on.
    lines "127.0.0.1:$2 inet n - n - - smtpd" 'cleanup unix n - n - 0 cleanup' 'qmgr unix n - n 300 1 qmgr' \
        'rewrite unix - - n - - trivial-rewrite' 'bounce unix - - n - 0 bounce' 'defer unix - - n - 0 bounce' \
        'trace unix - - n - 0 bounce' 'error unix - - n - - error' 'retry unix - - n - - error' \
        'proxymap unix - - n - - proxymap' 'virtual unix - n n - - virtual' 'tlsmgr unix - - n 1000? 1 tlsmgr' \
        'anvil unix - - n - 1 anvil' 'postlog unix-dgram n - n - 1 postlogd' > "$1/postfix/master.cf"
    for number in $(seq -w "$boxes"); do
        box=box$number
        echo "$box@example.test $box/" >> "$1/postfix/boxes"
        echo "$box:{PLAIN}secret-$box" >> "$1/dovecot/users"
    done
    chown root:dovecot "$1/dovecot/users"
    chmod 640 "$1/dovecot/users"
}

write_dovecot() { # DIR PORT
    # Without the anvil block a wrong password makes later logins of the same address slow, right ones too.
    lines "base_dir = $1/dovecot/run" "state_dir = $1/dovecot/state" "log_path = $1/log/dovecot.log" \
        'protocols = pop3' 'listen = 127.0.0.1' 'ssl = no' 'disable_plaintext_auth = no' \
        'auth_mechanisms = plain login cram-md5 apop' 'auth_failure_delay = 0' "first_valid_uid = $mail_uid" \
        "mail_location = maildir:$1/mail/%n" 'mail_max_userip_connections = 0' \
        'passdb {' 'driver = passwd-file' "args = scheme=PLAIN username_format=%n $1/dovecot/users" '}' \
        'userdb {' 'driver = static' "args = uid=$mail_uid gid=$mail_uid home=$1/mail/home-%n" '}' \
        'service anvil {' 'unix_listener anvil-auth-penalty {' 'mode = 0' '}' '}' \
        'service pop3-login {' 'inet_listener pop3 {' "port = $2" '}' '}' \
        'service auth {' "unix_listener $1/spool/private/auth {" \
        'mode = 0660' 'user = postfix' 'group = postfix' '}' '}' > "$1/dovecot/dovecot.conf"
}

# Moves both servers to TLS-only ports and puts stunnel on the plain ones.
write_tls() { # DIR SMTP POP3 SMTPS POP3S
    openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=localhost -keyout "$1/key.pem" \
        -addext subjectAltName=DNS:localhost,IP:127.0.0.1 -out "$1/cert.pem" 2> /dev/null
    sed -i "s/^127.*/127.0.0.1:$4 inet n - n - - smtpd -o smtpd_tls_wrappermode=yes/" "$1/postfix/master.cf"
    lines "smtpd_tls_cert_file = $1/cert.pem" "smtpd_tls_key_file = $1/key.pem" >> "$1/postfix/main.cf"
    sed -i -e "s|^ssl = no|ssl = required\nssl_cert = <$1/cert.pem\nssl_key = <$1/key.pem|" -e /^disable_plain/d \
        -e "s/^port = .*/port = 0\n}\ninet_listener pop3s {\nport = $5\nssl = yes/" "$1/dovecot/dovecot.conf"
    lines "pid = $1/stunnel.pid" "output = $1/log/stunnel.log" 'client = yes' 'verifyChain = yes' \
        "CAfile = $1/cert.pem" '[smtp]' "accept = 127.0.0.1:$2" "connect = 127.0.0.1:$4" \
        '[pop3]' "accept = 127.0.0.1:$3" "connect = 127.0.0.1:$5" > "$1/stunnel.conf"
}

# Whether a server greets on 127.0.0.1:PORT; behind stunnel a connection alone says nothing.
greets() {
    timeout 2 bash -c 'exec 3<> "/dev/tcp/127.0.0.1/$0" && read -r -t 1 line <&3 && [[ $line == [2+]* ]]' "$1" 2> /dev/null
}

await() { # COMMAND...: up to 10 s
    local try
    for try in $(seq 100); do
        "$@" && return 0
        sleep 0.1
    done
    say "timed out: $*"
    return 1
}

alive() { # a process that process 1 hasn't reaped yet counts as ended
    [[ -r /proc/$1/stat && $(sed 's/.*) //; s/ .*//' "/proc/$1/stat" 2> /dev/null) == [^ZX]* ]]
}

pids_of() {
    cat "$1/spool/pid/master.pid" "$1/dovecot/run/master.pid" "$1/stunnel.pid" 2> /dev/null || true
}

gone() {
    local pid
    for pid in "$@"; do
        ! alive "$pid" || return 1
    done
}

stop() { # DIR
    local dir=$1 pids
    [[ -f $dir/.mail_fixture ]] || { say "$dir isn't one of mine"; return 1; }
    pids=$(pids_of "$dir")
    [[ -z $pids ]] || kill $pids 2> /dev/null || true
    await gone $pids
    rm -rf "$dir"
}

start_servers() { # DIR VARIANT
    # The servers keep what they inherit: a caller that reads our output through a pipe would wait for them.
    local out=$1/log
    postfix -c "$1/postfix" start < /dev/null > "$out/postfix.out" 2>&1 || return 1
    dovecot -c "$1/dovecot/dovecot.conf" < /dev/null > "$out/dovecot.out" 2>&1 || return 1
    [[ $2 != tls ]] || stunnel4 "$1/stunnel.conf" < /dev/null > "$out/stunnel.out" 2>&1
}

start_once() { # DIR VARIANT
    local dir=$1 variant=$2 smtp pop3 smtps pop3s
    mkdir -p "$dir"/{postfix,spool,data,dovecot,mail,log}
    chmod 755 "$dir" "$dir"/*
    touch "$dir/.mail_fixture"
    chown postfix "$dir/data"
    chown "$mail_uid:$mail_uid" "$dir/mail"
    read -r smtp pop3 smtps pop3s < <(free_ports 4)
    write_postfix "$dir" "$smtp"
    write_dovecot "$dir" "$pop3"
    case $variant in
    login | loginmech) echo 'smtpd_client_restrictions = permit_sasl_authenticated, reject' >> "$dir/postfix/main.cf" ;;
    esac
    case $variant in
    loginmech) echo 'smtpd_sasl_mechanism_filter = login' >> "$dir/postfix/main.cf" ;;
    tls) write_tls "$dir" "$smtp" "$pop3" "$smtps" "$pop3s" ;;
    esac
    start_servers "$dir" "$variant" && await greets "$smtp" && await greets "$pop3" &&
        await test -s "$dir/dovecot/run/master.pid" || return 1
    lines "ORV_E2E_DIR=$dir" "ORV_E2E_VARIANT=$variant" "ORV_E2E_SMTP_PORT=$smtp" "ORV_E2E_POP3_PORT=$pop3" > "$dir/env"
}

start() { # DIR VARIANT
    local try
    case $2 in plain | login | loginmech | tls) ;; *) say "no variant $2"; return 2 ;; esac
    [[ ! -e $1 ]] || { say "$1 is there already"; return 1; }
    for try in 1 2 3; do
        if start_once "$1" "$2"; then
            return 0
        fi
        say "attempt $try failed"
        tail -n 20 "$1"/log/* >&2
        stop "$1" || return 1
    done
    return 1
}

down_one() { # ENV
    local dir
    dir=$(sed -n 's/^ORV_E2E_DIR=//p' "$1")
    [[ ! -d $dir ]] || stop "$dir" || return 1
    rmdir "$(dirname "$dir")" 2> /dev/null || true
    rm -f "$1"
}

# Runs COMMAND once for each ARGUMENT, all at the same time.
for_each() { # COMMAND ARGUMENT...
    local command=$1 argument pid started=() failed=0
    shift
    for argument in "$@"; do
        "$command" "$argument" &
        started+=($!)
    done
    for pid in "${started[@]}"; do
        wait "$pid" || failed=1
    done
    return $failed
}

down() { # FOLDER
    shopt -s nullglob
    for_each down_one "$1"/*.env
}

up_one() { # VARIANT, into $up_folder
    local base env=$up_folder/$1.env
    base=$(mktemp -d "${TMPDIR:-/tmp}/orv-mail.XXXXXX")
    chmod 755 "$base"
    # Written ahead of the start, so that `down` finds what a failed start has left.
    echo "ORV_E2E_DIR=$base/$1" > "$env"
    start "$base/$1" "$1" && cp "$base/$1/env" "$env"
}

up() { # FOLDER VARIANT...
    mkdir -p "$1"
    down "$1"
    up_folder=$1
    for_each up_one "${@:2}"
}

export PATH=$PATH:/usr/sbin:/sbin
if [[ $(id -u) != 0 ]]; then
    say 'skipped: Postfix needs root'
    exit 77
fi
case ${1:-} in
start) start "$2" "${3:-plain}" ;;
stop) stop "$2" ;;
up) up "${@:2}" ;;
down) down "$2" ;;
*)
    sed -n '2,16s/^# *//p' "$0" >&2
    exit 2
    ;;
esac
