# checks.sh - what a test expects and awaits, and how it ends. Sourced through
# loopback.sh or netns.sh.
# shellcheck shell=sh

failures=0
server=

skip() {
    echo "skipped: $1"
    exit 77
}

# check WHY EXPECTED ACTUAL
check() {
    [ "$2" = "$3" ] && return
    failures=$((failures + 1))
    printf 'FAILED %s\n  expected: %s\n  actual:   %s\n' "$1" "$2" "$3"
}

# await WHY COMMAND... - until the command succeeds, for 20 s.
await() {
    await_why=$1
    await_end=$(($(date +%s) + 20))
    shift
    while [ "$(date +%s)" -lt $await_end ]; do
        "$@" >/dev/null 2>&1 && return
        sleep 0.02
    done
    check "$await_why" "in time" "never"
}

# stop - ends the server of the test's start.
stop() {
    kill "$server"
    wait "$server"
    check "exit status, which tells of lost memory too" 0 $?
    server=
}

# The last command of a test.
finish() {
    [ "$failures" -eq 0 ] || echo "$failures checks failed"
    [ "$failures" -eq 0 ]
}
