#!/usr/bin/env bash
# What a message costs over a link with ordinary segments (MTU 1500): between two network namespaces of its own,
# joined by a pair of virtual interfaces, first with the kernel's defaults, then with "quickack 1" on the
# server's route. The third figure is loopback, for comparison. Needs root and iproute2; leaves nothing behind.
#
#     bench/delayed_ack.sh build/release/bench/link_send_bench
set -euo pipefail

bench=${1:?usage: delayed_ack.sh LINK_SEND_BENCH}
client=orvbench-c$$
server=orvbench-s$$
port=2525
serving=""

cleanup() {
    [ -z "$serving" ] || kill "$serving" 2> /dev/null || true
    ip netns del "$client" 2> /dev/null || true
    ip netns del "$server" 2> /dev/null || true
}
trap cleanup EXIT

ip netns add "$client"
ip netns add "$server"
ip link add orvb0 netns "$client" type veth peer name orvb1 netns "$server"
ip -n "$client" addr add 192.0.2.1/24 dev orvb0 # TEST-NET-1, RFC 5737
ip -n "$server" addr add 192.0.2.2/24 dev orvb1
for namespace in "$client" "$server"; do
    ip -n "$namespace" link set lo up
done
ip -n "$client" link set orvb0 up
ip -n "$server" link set orvb1 up

ip netns exec "$server" "$bench" --serve 0.0.0.0 $port &
serving=$!
for _ in $(seq 50); do
    ip netns exec "$server" bash -c "exec 3<> /dev/tcp/127.0.0.1/$port" 2> /dev/null && break
    sleep 0.1
done

echo "Ethernet segments, defaults"
ip netns exec "$client" "$bench" --send 192.0.2.2 $port
echo "Ethernet segments, quickack 1 at the server"
ip -n "$server" route change 192.0.2.0/24 dev orvb1 proto kernel scope link src 192.0.2.2 quickack 1
ip netns exec "$client" "$bench" --send 192.0.2.2 $port
echo "loopback, defaults"
ip netns exec "$server" "$bench" --send 127.0.0.1 $port
