#!/bin/sh
# serve_test.sh QM-SERVE DRIVER SANITIZERS - the example server on a folder of
# its own, as curl and others see it.
set -u
serve=$1
driver=$2
sanitizers=${3-}
# shellcheck source=tests/system/loopback.sh
. "$(dirname "$0")/loopback.sh"

RSS_LIMIT_KB=24576

# start OPTION... - sets url, without the "/" at its end, and port.
start() {
    launch "$serve" "$work/media" -nmcmode 0 -ip 127.0.0.1 \
        -appdata "$work/settings" "$@"
    url=${line%/}
    port=${url##*:}
}

get() { curl -s --path-as-is "$@"; }
status() { get -o /dev/null -w '%{http_code}' "$@"; }

# header NAME CURL-ARGUMENT... - the value of one line of the head.
header() {
    name=$1
    shift
    get -o /dev/null -D - "$@" | tr -d '\r' | sed -n "s/^$name: //p"
}

# --- The folder ---------------------------------------------------------------

# Ten seconds at 8000 bytes a second, with a title and an artist: 80080 bytes.
make_wav() {
    printf 'RIFF\310\070\001\000WAVE'
    printf 'fmt \020\0\0\0\001\0\001\0\100\037\0\0\100\037\0\0\001\0\010\0'
    printf 'LIST\034\0\0\0INFOINAM\004\0\0\0A<B\0IART\004\0\0\0Xyz\0'
    printf 'data\200\070\001\000'
    head -c 80000 /dev/urandom
}

# Boxes in boxes, deeper than any stack is: the page must go on behind it. The
# sanitizers report what it does to the process that reads it.
make_deep_mp4() {
    printf '\0\0\0\020ftypisom\0\0\0\0'
    awk 'BEGIN { for (i = 0; i < 200000; ++i) printf "    moov" }' |
        tr ' ' '\001'
}

mkdir media media/sub up
seq 1000 >media/plain.txt
: >media/empty.txt
make_wav >media/tone.wav
make_deep_mp4 >media/deep.mp4
odd="a b%41 'q' \"d\" +é.txt"
echo odd >"media/sub/$odd"
odd_url='a%20b%2541%20%27q%27%20%22d%22%20+%c3%a9.txt'
ln -s ../plain.txt media/sub/inside.txt
ln -s /etc/passwd media/outside.txt
mkfifo media/fifo.mp3
truncate -s 1G media/large.bin
for megabyte in 0 500 1023; do
    printf 'mark at %s' $megabyte |
        dd of=media/large.bin bs=1M seek=$megabyte conv=notrunc status=none
done
size=$(stat -c %s media/plain.txt)

# --- Reading ------------------------------------------------------------------

start
get "$url/media/plain.txt" | cmp - media/plain.txt || check "whole file" 0 1
check "length for HEAD" "$size" "$(header Content-Length -I "$url/media/plain.txt")"
check "empty file" 200 "$(status "$url/media/empty.txt")"
check "Last-Modified" "$(LC_ALL=C date -u -r media/plain.txt '+%a, %d %b %Y %T GMT')" \
    "$(header Last-Modified "$url/media/plain.txt")"
check "no Last-Modified of the file before" "" \
    "$(get "$url/media/plain.txt" -o /dev/null --next -s -I "$url/none" |
        grep Last-Modified)"

# first byte, last byte or "." for none, status, Content-Range
while read -r first last code range; do
    last=${last#.}
    check "range $first-$last" "$code" \
        "$(status -r "$first-$last" "$url/media/plain.txt")"
    check "Content-Range of $first-$last" "$range" \
        "$(header Content-Range -r "$first-$last" "$url/media/plain.txt")"
    [ "$code" = 206 ] || continue
    get -r "$first-$last" "$url/media/plain.txt" >part
    tail -c +$((first + 1)) media/plain.txt |
        head -c "$(stat -c %s part)" | cmp - part || check "bytes" 0 1
done <<END
0 9 206 bytes 0-9/$size
1000 1999 206 bytes 1000-1999/$size
3800 . 206 bytes 3800-$((size - 1))/$size
3800 99999 206 bytes 3800-$((size - 1))/$size
$((size - 1)) $((size - 1)) 206 bytes $((size - 1))-$((size - 1))/$size
$size . 416 bytes */$size
9 3 416 bytes */$size
END
check "suffix range" 400 "$(status -r -5 "$url/media/plain.txt")"

check "name with marks" odd "$(get "$url/media/sub/$odd_url")"
check "link inside" 200 "$(status "$url/media/sub/inside.txt")"
for path in / /media /media/ /media/sub /media/sub/; do
    check "page $path" 200 "$(status "$url$path")"
done
for path in /none /media/none /media/outside.txt /media/fifo.mp3 \
    /media/../media/plain.txt/ /media/../../etc/passwd \
    /media/%2e%2e/%2e%2e/etc/passwd /media/sub/..%2f..%2fup /media//etc/passwd \
    /media/plain.txt/x /media/a%00b; do
    check "nothing at $path" 404 "$(status "$url$path")"
done

page=$(get "$url/media/sub/")
case $page in
*'>a b%41 &#39;q&#39; &quot;d&quot; +é.txt<'*) ;;
*) check "escaped name in the page" present "$page" ;;
esac

# --- DLNA ---------------------------------------------------------------------

page=$(get "$url/")
tone=$(printf %s "$page" | sed -n 's/.*href="\([^"]*tone\.wav\)".*/\1/p')
check "fields in the link" /media/-OP11-CI0-FLAGS01700000/tone.wav "$tone"
check "title, artist, duration" \
    '<td>A&lt;B</td><td>Xyz</td><td>00:00:10</td><td>80080</td>' \
    "$(printf %s "$page" | grep -o '<td>A&lt;B.*80080</td>')"
check "contentFeatures" \
    ';DLNA.ORG_OP=11;DLNA.ORG_CI=0;DLNA.ORG_FLAGS=01700000000000000000000000000000' \
    "$(header contentFeatures.dlna.org -H 'getContentFeatures.dlna.org: 1' "$url$tone")"

# path, time, status, TimeSeekRange
while read -r path time code range; do
    check "time $time of $path" "$code" \
        "$(status -H "TimeSeekRange.dlna.org: npt=$time" "$url$path")"
    check "TimeSeekRange of $time of $path" "$range" \
        "$(header TimeSeekRange.dlna.org -H "TimeSeekRange.dlna.org: npt=$time" "$url$path")"
done <<END
$tone 5- 200 npt=005.0-010.0/010.0 bytes=40040-80079/80080
$tone 0:0:2.500-0:0:5.000 200 npt=0:0:2.500-0:0:5.000/0:0:10.000 bytes=20020-40047/80080
$tone 9-99 200 npt=009.0-010.0/010.0 bytes=72072-80079/80080
/media/tone.wav 5- 200 npt=005.0-010.0/010.0 bytes=40040-80079/80080
$tone 10- 416
$tone x 400
/media/plain.txt 5- 406
/media/-OP01-CI0-FLAGS01700000/tone.wav 5- 406
END
get -H 'TimeSeekRange.dlna.org: npt=5-' "$url$tone" >part
tail -c 40040 media/tone.wav | cmp - part || check "bytes from second 5" 0 1

# --- No way to write ----------------------------------------------------------

for path in /none /media/new /media/plain.txt /upload/new; do
    check "POST $path" 404 "$(status -d data "$url$path")"
    check "chunked POST $path" 404 \
        "$(status -d data -H 'Transfer-Encoding: chunked' "$url$path")"
done
check "body of a GET is no request" 1 \
    "$(printf 'GET / HTTP/1.1\r\nContent-Length: 40\r\n\r\nGET /media/plain.txt HTTP/1.1\r\n\r\n' |
        "$driver" raw "$port" | grep -c ^HTTP)"

# --- Load ---------------------------------------------------------------------

check "one connection for two requests" "1 0 " \
    "$(get -o /dev/null -o /dev/null -w '%{num_connects} ' \
        "$url/media/plain.txt" "$url$tone")"
"$driver" load "$port" /media/plain.txt media/plain.txt 64 200 ||
    check "64 connections, 200 requests each" 0 1
get "$url/media/large.bin" | cmp - media/large.bin || check "1 GiB" 0 1
if [ -n "$sanitizers" ]; then
    echo "skipped: resident set, which the sanitizers enlarge"
else
    peak=$(sed -n 's/^VmHWM:[^0-9]*\([0-9]*\).*/\1/p' "/proc/$server/status")
    check "peak of $peak KiB is below $RSS_LIMIT_KB" 1 \
        $((peak < RSS_LIMIT_KB))
fi

# --- Other clients ------------------------------------------------------------

if command -v wget >/dev/null; then
    wget -q -O whole "$url/media/plain.txt"
    head -c 100 media/plain.txt >rest
    wget -q -c -O rest "$url/media/plain.txt"
    cmp whole media/plain.txt || check "wget" 0 1
    cmp rest media/plain.txt || check "wget, continued" 0 1
else
    echo "skipped: wget is not installed"
fi

# frame INPUT - the checksum of the picture at second 13.
frame() {
    ffmpeg -v error -nostdin -ss 13 -i "$1" -map 0:v -frames:v 1 -f framemd5 - |
        grep -v '^#'
}
if command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null; then
    ffmpeg -v error -nostdin -f lavfi -i testsrc=d=20:s=160x120 -f lavfi \
        -i sine=d=20 media/clip.mp4
    ffmpeg -v error -nostdin -i media/clip.mp4 -c copy media/clip.mkv
    for clip in clip.mp4 clip.mkv; do
        link=$(get "$url/" | sed -n "s/.*href=\"\([^\"]*$clip\)\".*/\1/p")
        expected=$(frame "media/$clip")
        check "a frame of $clip" 1 $((${#expected} > 32))
        check "frame of $clip at 13 s" "$expected" "$(frame "$url$link")"
        check "duration of $clip" \
            "$(ffprobe -v error -show_entries format=duration "media/$clip")" \
            "$(ffprobe -v error -show_entries format=duration "$url$link")"
    done
else
    echo "skipped: ffmpeg is not installed"
fi

# A peer that reads no more must not hold the end up.
mkfifo body
curl -s "$url/media/large.bin" >body &
exec 4<body
head -c 1 <&4 >/dev/null
stop
exec 4<&-

# --- Uploads ------------------------------------------------------------------

# upload PATH FILE - the status; the answer is left in the file "answer".
upload() {
    get -o answer -w '%{http_code}' -H 'Transfer-Encoding: chunked' \
        --data-binary "@$2" "$url/upload/$1"
}

start -upload "$work/up" -uploadlimit 1
head -c 700000 /dev/urandom >data
echo other >other
check "upload" 201 "$(upload 'my%20song.mp3' data)"
check "its name" "my song.mp3" "$(cat answer)"
check "upload of the same name" 201 "$(upload 'my%20song.mp3' other)"
check "another name" "my song (2).mp3" "$(cat answer)"
cmp data "up/my song.mp3" || check "bytes of the upload" 0 1
check "second upload" other "$(cat "up/my song (2).mp3")"

ln -s "$work/media/plain.txt" up/link.txt
check "upload over a link" 201 "$(upload link.txt other)"
check "what the link leads to" "$size" "$(stat -c %s media/plain.txt)"

for name in '' .hidden %2e%2e%2fescape sub/name a%0ab; do
    check "upload named $name" 400 "$(upload "$name" other)"
done
check "upload with a length" 400 "$(status -d data "$url/upload/length")"
head -c 1100000 /dev/zero >large
check "upload above the limit" 500 "$(upload large large)"
printf 'POST /upload/%s HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabc' \
    cut | "$driver" raw "$port" >/dev/null
printf 'POST /upload/%s HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n7fffffff\r\n' \
    huge | cat - large large | "$driver" raw "$port" >/dev/null
check "what lies in the folder" "link (2).txt link.txt my song (2).mp3 my song.mp3" \
    "$(find up -mindepth 1 -printf '%f\n' | LC_ALL=C sort | tr '\n' ' ' | sed 's/ $//')"
check "upload outside its URL" 404 "$(status -d data "$url/media/new")"
stop

finish
