#!/bin/sh
# nic_test.sh QM-SERVE QM-FIND - addresses come and go while qm-serve serves.
set -u
serve=$1
find=$2
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

host server
host near
host far
link server eth0 10.77.1.1 02:00:00:00:01:01 near eth0 10.77.1.2
link server eth1 10.77.2.1 02:00:00:00:01:02 far eth0 10.77.2.2

mkdir media
head -c 67108864 /dev/urandom >media/big.bin
ip netns exec near "$find" --watch >watched &
start server -nmcmode 0
await "announcement" grep -q "^found.$udn" watched

# A transfer that stands still: more is under way than the sockets hold.
mkfifo pipe
on near curl -s http://10.77.1.1:9000/media/big.bin >pipe &
exec 3<pipe
head -c 1000 <&3 >got

expected="10.77.1.1 10.77.2.1"
events=found
addresses() { sed -n 's|http://\(10[0-9.]*\):9000/|\1|p' urls | xargs; }
seen() { cut -f 1 watched | xargs; }
restarted() { [ "$(addresses)|$(seen)" = "$expected|$events" ]; }

# restart WHY ADDRESSES - awaits one restart, on these addresses.
restart() {
    expected="$expected $2"
    events="$events gone found"
    await "$1" restarted
}

ip -n server addr del 10.77.2.1/24 dev eth1
restart "an address goes" 10.77.1.1
ip netns exec far "$find" --watch >watched_far &
ip -n server addr add 10.77.2.1/24 dev eth1
restart "an address comes" "10.77.1.1 10.77.2.1"
await "the new network sees the device" grep -q 10.77.2.1:9000 watched_far
printf 'addr %s dev eth1\n' 'del 10.77.2.1/24' 'add 10.77.2.3/24' |
    ip -n server -batch -
restart "an address for another" "10.77.1.1 10.77.2.3"
ip -n server link set eth1 alias renamed
on far curl -s -o /dev/null http://10.77.2.3:9000/
check "the device at its new address" 0 $?

cat <&3 >>got
check "the transfer over all restarts" "$(cksum <media/big.bin)" "$(cksum <got)"
check "restarts" "$expected|$events" "$(addresses)|$(seen)"
stop
finish
