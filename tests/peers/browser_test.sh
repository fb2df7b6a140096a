#!/bin/sh
# browser_test.sh QM-SERVE [PICTURE] - a browser begins a session at the entry
# URL, follows the links of its pages and keeps the cookie. PICTURE, if given,
# takes what it shows.
set -u
serve=$1
picture=$(realpath -m "${2:-/dev/null}")
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/../system/netns.sh"
command -v chromium >/dev/null || skip "Chromium is not installed"

host server

# browse URL OPTION... - on a profile that stays, trusting the server's key
# alone.
browse() {
    browse_url=$1
    shift
    on server timeout 60 chromium --headless --no-sandbox --disable-gpu \
        --disable-quic --no-first-run --disable-background-networking \
        --disable-component-update --disable-sync --hide-scrollbars \
        --ignore-certificate-errors-spki-list="$pin" \
        --user-data-dir="$work/profile" "$@" "$browse_url" 2>errors
}

# A second of silence, with a title and an artist.
make_wav() {
    printf 'RIFF\220\037\0\0WAVEfmt \020\0\0\0\001\0\001\0\100\037\0\0'
    printf '\100\037\0\0\001\0\010\0'
    printf 'LIST\050\0\0\0INFOINAM\012\0\0\0Low Water\0IART\012\0\0\0'
    printf 'The Piers\0data\100\037\0\0'
    head -c 8000 /dev/zero
}

mkdir -p media/Films media/Music
make_wav >'media/Music/Low Water.wav'
echo "read me" >media/Music/notes.txt
head -c 3M /dev/zero >media/Films/Harbour.mp4
start server -ip 127.0.0.1 -remoteport 9443 -entrytime 600
url=https://127.0.0.1:9443
pin=$(openssl x509 -in qm-serve.crt -noout -pubkey |
    openssl pkey -pubin -outform der | openssl dgst -sha256 -binary | base64)

entry=$(sed -n 2p urls)
links=$(browse "$entry" --dump-dom | sed -n 's/.*href="\([^"]*\)".*/\1/p')
token=${entry#*ra?}
check "links of the first page" "/media/Films/?RAMSessionID=$token
/media/Music/?RAMSessionID=$token" "$links"
check "page behind its link" "Low Water The Piers 00:00:01" \
    "$(browse "$url$(echo "$links" | tail -n 1)" --dump-dom |
        sed -n 's/<[^>]*>/ /g; s/  */ /g; s/.*\(Low Water The.*\) [0-9]* $/\1/p')"
check "page by the cookie alone" 1 \
    "$(browse "$url/media/Music/" --dump-dom | grep -c 'Low Water.wav')"
check "page without a session" 0 \
    "$(browse "$url/media/Music/" --user-data-dir="$work/other" --dump-dom |
        grep -c 'Low Water.wav')"

browse "$url/media/Music/" --window-size=720,230 --screenshot=seen.png
check "picture of the page" "PNG" "$(head -c 4 seen.png | tail -c 3)"
[ "$picture" = /dev/null ] || cp seen.png "$picture"
stop

finish
