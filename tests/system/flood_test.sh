#!/bin/sh
# flood_test.sh QM-SERVE DRIVER SANITIZERS - what discovery costs: at rest, for
# one search, and in a flood.
set -u
serve=$1
driver=$2
sanitizers=${3-}
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

RSS_LIMIT_KB=12288
LATENCY_LIMIT_MS=150
REST_S=4

host server
host near
link server eth0 10.77.1.1 02:00:00:00:01:01 near eth0 10.77.1.2
start server -nmcmode 0

get() { on near curl -s -m 5 http://10.77.1.1:9000/QMSDeviceDescription.xml; }
ask_all() {
    printf 'M-SEARCH * HTTP/1.1\r\nMAN: "ssdp:discover"\r\nMX: 1\r\nST: %s\r\n\r\n' \
        $udn | on near "$driver" ask 10.77.1.2
}

check "search" $udn "$(ask_all)"
median=$(on near "$driver" latency 10.77.1.2 20 | sort -n | sed -n 10p)
check "first answer after $median ms is within $LATENCY_LIMIT_MS" 1 \
    $((median <= LATENCY_LIMIT_MS))

# --- At rest ------------------------------------------------------------------

# The nanoseconds that all its threads have run.
run_time() { cat "/proc/$server"/task/*/schedstat | awk '{ sum += $1 } END { printf "%d", sum }'; }

# check_memory FIELD - what is resident, or was at the most.
check_memory() {
    kib=$(sed -n "s/^$1:[^0-9]*\([0-9]*\).*/\1/p" "/proc/$server/status")
    check "$1, $kib KiB, is less than $RSS_LIMIT_KB" 1 $((kib < RSS_LIMIT_KB))
}

if [ -n "$sanitizers" ]; then
    echo "skipped: processor and memory, which the sanitizers enlarge"
else
    before=$(run_time)
    sleep $REST_S
    used=$(($(run_time) - before))
    check "$used ns of $REST_S s are less than half a percent" 1 \
        $((used * 200 < REST_S * 1000000000))
    check_memory VmRSS
fi

# --- In a flood ---------------------------------------------------------------

description=$(get)
ip netns exec near "$driver" flood 10.77.1.2 50000 8 >flood_ms &
flood=$!
requests=0
while kill -0 $flood 2>/dev/null; do
    check "description in the flood" "$description" "$(get)"
    requests=$((requests + 1))
    sleep 0.2
done
wait $flood
check "flood" 0 $?
check "flood of $(cat flood_ms) ms takes ten seconds at most" 1 \
    $(($(cat flood_ms) <= 10000))
check "requests in the flood: $requests, more than 5" 1 $((requests > 5))

finds() { [ "$(ask_all)" = $udn ]; }
await "search after the flood" finds
[ -n "$sanitizers" ] || check_memory VmHWM
stop
finish
