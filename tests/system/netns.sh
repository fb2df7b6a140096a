# netns.sh - hosts and networks of a test's own. Sourced first by a test.
#
# Runs the test anew in namespaces where its hosts, its processes and its
# files, all under $work, are its own, and go with its shell, whatever ends it:
# nothing is seen from outside, and nothing stays. Takes root; elsewhere the
# test is skipped.
# shellcheck shell=sh

# shellcheck source=tests/system/checks.sh
. "$(dirname "$0")/../system/checks.sh"

if [ -z "${QM_OWN_NAMESPACES:-}" ]; then
    set -- unshare --net --mount --pid --fork --kill-child --mount-proc \
        env QM_OWN_NAMESPACES=1 sh "$0" "$@"
    [ "$(id -u)" -eq 0 ] || skip "hosts in network namespaces take root"
    command -v ip >/dev/null || skip "iproute2 is not installed"
    unshare --net --mount --pid --fork --mount-proc true 2>/dev/null ||
        skip "this machine grants no namespaces"
    exec "$@"
fi

trap 'exit 130' INT TERM HUP
mount -t tmpfs none /run
work=/run/test
mkdir "$work" /run/netns
export HOME="$work"
cd "$work" || exit 1

# --- Hosts --------------------------------------------------------------------

# host NAME - a host with a loopback interface alone.
host() {
    ip netns add "$1"
    ip -n "$1" link set lo up
}

# link HOST INTERFACE ADDRESS MAC HOST INTERFACE ADDRESS - a cable, wide enough
# for the largest datagram, and an address in a /24 at each of its ends.
link() {
    ip -n "$1" link add "$2" mtu 65535 address "$4" type veth \
        peer name "$6" mtu 65535 netns "$5"
    ip -n "$1" addr add "$3/24" dev "$2"
    ip -n "$5" addr add "$7/24" dev "$6"
    ip -n "$1" link set "$2" up
    ip -n "$5" link set "$6" up
}

on() { ip netns exec "$@"; }

# --- The server ---------------------------------------------------------------

# What an INI file at /run/test/quorelmedia.ini and the MAC of the host "server"
# make of it; the latter is 42:42:42:42:42:42 where there is none.
# shellcheck disable=SC2034
udn=uuid:55056f72-656c-4d65-64a8-020000000101

# What it announces beside that.
# shellcheck disable=SC2034
{
    root=upnp:rootdevice
    device=urn:schemas-upnp-org:device:MediaServer:1
    directory=urn:schemas-upnp-org:service:ContentDirectory:1
    manager=urn:schemas-upnp-org:service:ConnectionManager:1
    registrar=urn:microsoft.com:service:X_MS_MediaReceiverRegistrar:1
}

# start HOST OPTION... - qm-serve on a host, until its URLs are in "urls".
# Sets server.
start() {
    start_host=$1
    shift
    : >urls
    mkdir -p media
    ip netns exec "$start_host" "$serve" media -appdata "$work" "$@" >urls &
    server=$!
    await "start of qm-serve" test -s urls
    [ -s urls ] || exit 1
}
