#!/bin/sh
# control_points_test.sh QM-SERVE FOLDER - control points of others list the
# same items, with titles that are hard to write, and fetch them byte for byte.
# What npm installs stays in FOLDER.
set -u
serve=$1
export NODE_PATH="$2/node_modules"
here=$(realpath "$(dirname "$0")")

has_gupnp() {
    /usr/bin/python3 -c 'import gi
gi.require_version("GUPnP", "1.6")
gi.require_version("GUPnPAV", "1.0")' 2>/dev/null
}
has_mpd() {
    command -v mpc >/dev/null && mpd --version 2>/dev/null | grep -q ' upnp'
}
has_npm_client() { [ -d "$NODE_PATH/upnp-device-client" ]; }

# The registry is out of reach from a network of the test's own.
if [ -z "${QM_OWN_NAMESPACES:-}" ] && ! has_npm_client &&
    command -v npm >/dev/null; then
    timeout 30 npm install --prefix "$2" --no-audit --no-fund --silent \
        upnp-device-client@1 >/dev/null 2>&1
fi
# shellcheck source=tests/system/netns.sh
. "$here/../system/netns.sh"
has_gupnp || has_mpd || has_npm_client ||
    skip "no GUPnP for Python, no MPD with mpc, no upnp-device-client"

host server
host client
on client sh -c 'echo 1 >/proc/sys/net/ipv6/conf/all/disable_ipv6'
link server eth0 10.77.1.1 02:00:00:00:01:01 client eth0 10.77.1.2
# MPD's library searches only where there is a way to everywhere.
ip -n client route add default dev eth0

# --- The items ----------------------------------------------------------------

# A tenth of a second in WAVE form, of noise that no other item holds and that
# has no zero bytes: those are silence.
wave_head='RIFF\014\105\0\0WAVEfmt \020\0\0\0\001\0\002\0\104\254\0\0\020\261'\
'\002\0\004\0\020\0data\350\104\0\0'
wave_bytes=17640

# Name of the file and, where it is another, the title; both with escapes.
deep='media/<a> & "b"/deeper'
mkdir -p "$deep" sounds
bad='\0357\0277\0275'
while IFS='|' read -r name title; do
    name=$(printf '%b' "$name")
    title=$(printf '%b' "${title:-$name}")
    tr -d '\0' </dev/urandom | head -c $wave_bytes >"sounds/$title"
    # shellcheck disable=SC2059
    { printf "$wave_head"; cat "sounds/$title"; } >"$deep/../$name.wav"
    echo "$(sha256sum <"$deep/../$name.wav" | cut -d ' ' -f 1) $title"
done >items <<END
plain
<b>not bold
a & b &amp; c &#38; d
"double" and 'single'
Äpfel 日本語 🎵
]]> -- <![CDATA[
100%25 + ?#;=
tab\0011here
bell\0007 escape\0033 delete\0177|bell$bad escape$bad delete\0177
latin \0344|latin $bad
END
mv "$deep/../plain.wav" "$deep"
items=$(sort items)

start server -friendlyname server

# --- GUPnP --------------------------------------------------------------------

if has_gupnp; then
    check "items of GUPnP" "$items" "$(on client timeout 20 \
        /usr/bin/python3 "$here/gupnp_peer.py" eth0 2>answers | sort)"
    check "ConnectionManager to GUPnP" \
'GetProtocolInfo|http-get:*:audio/aac:*
GetCurrentConnectionIDs|0
GetCurrentConnectionInfo|-1|-1|||-1|Output|Unknown
GetCurrentConnectionInfo|-1|-1|||-1|Output|Unknown
GetCurrentConnectionInfo|402|Invalid Args
GetCurrentConnectionInfo|402|Invalid Args' "$(sed 's/,.*//' answers)"
else
    echo "no GUPnP for Python"
fi

# --- npm ----------------------------------------------------------------------

if has_npm_client; then
    check "items of npm" "$items" "$(on client timeout 20 node \
        "$here/npm_peer.js" http://10.77.1.1:9000/QMSDeviceDescription.xml |
        sort)"
else
    echo "no upnp-device-client"
fi

# --- MPD ----------------------------------------------------------------------

# Its songs are named by title. What it plays is what it fetched, but for the
# silence while it waits for more.
found() { mpc ls | grep -qx server; }
sound() { tr -d '\0' <played; }
is_played() { [ "$(sound | wc -c)" -ge $((count * wave_bytes)) ]; }

if has_mpd; then
    cat >mpd.conf <<END
bind_to_address "$work/socket"
database {
    plugin "upnp"
    interface "eth0"
}
audio_output {
    type "pipe"
    name "file"
    format "44100:16:2"
    command "cat >>$work/played"
}
END
    export MPD_HOST="$work/socket"
    : >played
    on client mpd --no-daemon --stderr mpd.conf 2>mpd.log &
    await "MPD finds the server" found
    folder='server/<a> & "b"'
    { mpc ls "$folder"; mpc ls "$folder/deeper"; } |
        grep -vx "$folder/deeper" >songs
    check "items of MPD" "$(cut -d ' ' -f 2- items | sort)" \
        "$(sed 's:.*/::' songs | sort)"
    check "MPD's search" "a & b &amp; c &#38; d" "$(
        mpc -f %title% search title '&AMP;')"
    count=0
    # One by one, since from one short song to the next it may repeat one.
    while read -r song; do
        count=$((count + 1))
        mpc -q clear
        mpc -q add "$song"
        mpc -q play
        await "MPD plays $song" is_played
    done <songs
    check "what MPD plays" "$(sed 's:.*/:sounds/:' songs | tr '\n' '\0' |
        xargs -0 cat | sha256sum)" "$(sound | sha256sum)"
else
    echo "no MPD"
fi

stop
finish
