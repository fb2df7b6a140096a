#!/bin/sh
# tls_test.sh TLS-SERVER DRIVER - a remote listener with TLS, as curl, openssl
# and hostile peers see it. remote_test.sh is about who may come in.
set -u
program=$1
driver=$2
# shellcheck source=tests/system/loopback.sh
. "$(dirname "$0")/loopback.sh"

head -c 20M /dev/urandom >file
mkfifo held never

# start [HANDSHAKE-MS IDLE-MS] - sets port and url.
start() {
    launch "$program" serve server.crt server.key file "$@"
    port=$line
    url=https://127.0.0.1:$port/resources
}

get() { curl -s --cacert server.crt --max-time 60 "$@"; }
status() { get -o /dev/null -w '%{http_code}' "$@"; }
client() { timeout 30 openssl s_client -connect "127.0.0.1:$port" "$@" 2>&1; }
alive() { check "served after $1" 206 "$(status -r 0-9 "$url/file")"; }

# --- Certificate --------------------------------------------------------------

start
check "key file" 600 "$(stat -c %a server.key)"
check "names in the certificate" "DNS:$(hostname), IP Address:127.0.0.1" \
    "$(openssl x509 -in server.crt -noout -ext subjectAltName |
        sed -n 's/^ *DNS/DNS/p')"
check "certificate that is not trusted" 60 \
    "$(curl -s "$url/file" >/dev/null; echo $?)"
sum=$(cksum server.crt server.key)
stop
start
check "the same files at the next start" "$sum" "$(cksum server.crt server.key)"

# --- Serving ------------------------------------------------------------------

check "one connection for two requests" "1 0 " \
    "$(get -I -o /dev/null -o /dev/null -w '%{num_connects} ' "$url/file" \
        "$url/file")"
get -Z --parallel-max 40 -r 0-99999 -w '%{http_code}\n' -o 'many#1' \
    "$url/file?[1-400]" >codes 2>/dev/null
check "400 requests, 40 at once" "400 206" "$(sort codes | uniq -c | sed 's/^ *//')"
head -c 100000 file >part
for i in 1 200 400; do
    cmp part "many$i" || check "answer $i" 0 1
done

# POST option, body's size, status
while read -r option size code; do
    head -c "$size" file | base64 -w0 | head -c "$size" >body
    get -o answer -w '%{http_code}' -H "$option" -H Expect: \
        --data-binary @body "$url/echo" >got
    check "body of $size with $option" "$code" "$(cat got)"
    [ "$code" != 200 ] || cmp body answer || check "echo of $size" 0 1
done <<END
Transfer-Encoding:chunked 1 200
Transfer-Encoding:chunked 1000000 200
X:y 1 200
X:y 70000 200
X:y 16777216 200
END
head -c 17M file | base64 -w0 >body
for option in Transfer-Encoding:chunked X:y; do
    [ "$(status -H $option --data-binary @body "$url/echo")" != 200 ] ||
        check "body above the limit with $option" other 200
done

# The requests are formats, for their escapes.
# shellcheck disable=SC2059
# responses REQUESTS - how many answers they get until the server closes.
responses() {
    printf "$1" | client -quiet | grep -ao 'HTTP/1.1 [2-5]' | wc -l
}
get='GET /resources/file HTTP/1.1\r\nRange: bytes=0-0\r\n'
last="${get}Connection: close\\r\\n\\r\\n"
post='POST /resources/echo HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n'
long=$(head -c 9000 /dev/zero | tr '\0' x)
while read -r count requests; do
    check "answers to $(printf %.60s "$requests")" "$count" \
        "$(responses "$requests")"
done <<END
3 $get\\r\\n$get\\r\\n$last
2 \\r\\n$get\\r\\n\\r\\n\\r\\n$last
2 ${post}3;a=b\\r\\nabc\\r\\n0\\r\\nX: y\\r\\n\\r\\n$last
1 ${post}g\\r\\nabc\\r\\n0\\r\\n\\r\\n$last
1 ${post}3\\r\\nabcd\\r\\n0\\r\\n\\r\\n$last
1 ${post}-1\\r\\n$last
1 ${post}fffffffff\\r\\n$last
2 ${get}X: $long\\r\\n\\r\\n$last
0 PUT /resources/file HTTP/1.1\\r\\n\\r\\n$last
END

# --- Refusals -----------------------------------------------------------------

for version in 2 3; do
    check "TLS 1.$version" "New, TLSv1.$version" \
        "$(client -tls1_$version </dev/null | grep -o '^New, TLSv1..')"
done
for version in tls1 tls1_1; do
    client -$version -cipher DEFAULT@SECLEVEL=0 </dev/null |
        grep -q 'alert protocol version' || check "refusal of $version" 0 1
done
client -tls1_2 -cipher 'kRSA:CBC:@SECLEVEL=0' </dev/null |
    grep -q 'alert handshake failure' || check "refusal of old ciphers" 0 1
exec 4<>never
echo R >never
client -tls1_2 <never | grep -q 'no renegotiation' ||
    check "refusal to renegotiate" 0 1

for garbage in '\0026\003\001\0377\0377' '\0026\003\001\0\0' \
    '\0200\0056\001\0\002' '\0027\003\003\0\004abcd' \
    '\0025\003\003\0\002\002\0050'; do
    { printf %b "$garbage"; head -c 50000 file; } | "$driver" raw "$port" \
        >/dev/null 2>&1
done
for i in 1 2 3 4 5 6 7 8; do
    tail -c +$((i * 50000)) file | head -c 50000 | "$driver" raw "$port" \
        >/dev/null 2>&1
done
alive "garbage"

"$program" hold "$port" 1000 >held &
holder=$!
exec 5<held
read -r line <&5
check "1000 half-open handshakes" held "$line"
for i in 1 2 3; do
    alive "the start of 1000 handshakes"
done
check "threads of those that wait" 1 \
    $(($(find "/proc/$server/task" -mindepth 1 -maxdepth 1 | wc -l) < 300))
stop
wait $holder
check "the rest when the server ends" closed "$(cat <&5)"

# --- Deadlines ----------------------------------------------------------------

start 1500 1500
timeout 30 "$program" hold "$port" 20 >held
check "end of handshakes that stall" 0 $?
client -quiet <never >/dev/null
check "end of a session that asks for nothing" 1 $(($? != 124))
alive "those that stalled"
stop

: >server.key
"$program" serve server.crt server.key file >/dev/null 2>&1
check "start with a broken key" 1 $?

finish
