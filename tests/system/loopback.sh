# loopback.sh - a folder of a test's own, which goes with it, and a server on
# this machine. Sourced first by a test.
# shellcheck shell=sh

# shellcheck source=tests/system/checks.sh
. "$(dirname "$0")/checks.sh"

work=$(mktemp -d)
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT
cd "$work" || exit 1
mkfifo pipe

# launch COMMAND... - starts the server and sets line, the first that it prints.
# Reading the pipe waits for it, or for the end of a server that failed.
launch() {
    "$@" >"$work/pipe" &
    server=$!
    exec 3<"$work/pipe"
    # shellcheck disable=SC2034
    read -r line <&3 || exit 1
}
