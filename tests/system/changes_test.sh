#!/bin/sh
# changes_test.sh QM-SERVE - qm-serve while things around it change: its folder
# does, helpers make pictures, its log grows, and the log's place goes away.
set -u
serve=$1
# shellcheck source=tests/system/soap.sh
. "$(dirname "$0")/soap.sh"
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"
command -v ffmpeg >/dev/null || skip "ffmpeg is not installed"

url=http://127.0.0.1:9000
curl() { on server curl "$@"; }
status() { curl -s -w '%{http_code}' -o /dev/null "$@"; }
run() { start server -nmcmode 0 "$@"; }
host server

# --- Changes in the folder ----------------------------------------------------

update_id() { call ContentDirectory GetSystemUpdateID | value Id; }
rises() { [ "$(update_id)" -gt "$1" ]; }
ms() { date +%s%3N; }

# Nothing is listed before all is done: the change alone must be heard of.
run
while read -r command; do
    before=$(update_id)
    since=$(ms)
    eval "$command"
    await "$command" rises "$before"
    check "$command, in time" 1 $(($(ms) - since < 2000))
done <<'END'
mkdir media/a
mkdir -p media/a/b/c
touch media/a/b/c/1
mv media/a/b media/d
touch media/d/c/2
mv media/d/c/1 media/d/3
mv media/d .
mv d media/d
echo more >>media/d/c/2
rm -r media/a
END
check "children" "c 1|d 2" "$(search 0 'upnp:class derivedfrom "object.container"' \
    @childCount 0 0 +dc:title | objects |
    sed -n 's/.*childCount="\([0-9]*\)"><dc:title>\([^<]*\).*/\2 \1/p' | joined)"
stop

# With two watches for three folders, changes are found where one has looked.
cat >few-watches <<END
#!/bin/sh
exec unshare --user --map-root-user sh -c \
    'echo 2 >/proc/sys/user/max_inotify_watches; exec "\$0" "\$@"' "$serve" "\$@"
END
chmod +x few-watches
if unshare --user --map-root-user test -w /proc/sys/user/max_inotify_watches; then
    all=$serve
    serve=$work/few-watches
    run -logfile watch.txt -vlevel 3
    await "a word about the watches" grep -q "media cannot be watched" watch.txt
    before=$(browse 0 DirectChildren '' 0 0 '' | value UpdateID)
    touch media/new
    check "a change without a watch" 1 $(($(update_id) > before))
    stop
    serve=$all
fi

# --- Pictures of files --------------------------------------------------------

# A helper that hangs on request and counts its calls.
cat >helper <<'END'
#!/bin/sh
echo >>/run/test/calls
grep -q hang "$1" && exec sleep 60
exec ffmpeg -nostdin -v quiet -y -i "$1" -frames:v 1 -vf scale=160:-1 "$2"
END
chmod +x helper
rm -r media
mkdir media
ffmpeg -v error -f lavfi -i testsrc=d=0.1 "media/a -y \"b\" 'c'.mp4" </dev/null
echo broken >media/broken.avi
echo hang >media/hang.avi
: >media/text.txt

run -appdata "$work/my data" -thumbnailer "$work/helper %i %o"
browse 0 DirectChildren upnp:albumArtURI 0 0 +dc:title | urls >pictures
check "pictures" 3 "$(wc -l <pictures)"
exec 3<pictures
read -r picture <&3
read -r broken <&3
read -r hang <&3
curl -s -o one "$picture" &
curl -s -o two "$picture"
wait $!
check "a picture for two at once" "" "$(cmp one two 2>&1
    cmp two my\ data/thumbnails/*.jpg 2>&1)"
check "its width" 160 \
    "$(ffprobe -v error -show_entries stream=width -of csv=p=0 one)"
check "no picture" "404 404" "$(status "$broken") $(status "$broken")"
check "calls" 2 "$(wc -l <calls)"
status "$hang" >/dev/null &
hangs() { [ "$(wc -l <calls)" = 3 ]; }
await "a helper that hangs" hangs
stop

# --- The log ------------------------------------------------------------------

# says TEXT - whether a request, whose long head is logged, makes the server say
# that where its output goes.
long=$(head -c 7000 /dev/zero | tr '\0' x)
says() {
    [ "$(status $url/ -H "X: $long")" = 200 ] && grep -q "$1" urls
}
mkdir logs full
mount -t tmpfs -o size=64k none full
run -logfile full/a-log.txt -vlevel 0
await "a full disk" says "^can't write log file"
stop

mkdir gone
truncate -s 1024000 gone/a-log.txt
run -logfile gone/a-log.txt -vlevel 0
rm -r gone
await "a folder that is gone" says "^can't open log file ($work/gone/a-log.txt)"
stop

# The second start knows the log from the INI file of the first.
run -inipath "$work/logs" -logfile logs/a-log.txt -vlevel 2
stop
check "log" "$work/logs/a-log.txt" \
    "$(grep -l 'registered a handler for /media/' "$work"/logs/*)"
truncate -s 1048570 logs/a-log.txt
touch -d 2009-01-01 logs/1-log.txt logs/2-log.txt logs/3-log.txt \
    logs/4-log.txt logs/5-log.txt logs/6-log.txt
run -inipath "$work/logs"
rotated() {
    [ "$(find logs -name '*-log.txt' | wc -l)" = 6 ] &&
        find logs -name "a-$(date +%Y-%m-%d)-*-log.txt" -size +0 | grep -q .
}
await "a part with a stamp, and the oldest gone" rotated
stop
finish
