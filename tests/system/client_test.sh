#!/bin/sh
# client_test.sh CLIENT-DRIVER - the HTTP client against nginx, Python's
# http.server and peers of no manners.
set -u
driver=$1
peers=$(realpath "$(dirname "$0")")/client_peers.py
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"
nginx=$(command -v nginx || command -v /usr/sbin/nginx) ||
    skip "nginx is not installed"
command -v python3 >/dev/null || skip "python3 is not installed"

host server
host near
link server eth0 10.79.1.1 02:00:00:00:01:01 near eth0 10.79.1.2
server=10.79.1.1

mkdir www
seq 100000 >www/page
head -c 300000 www/page >half
cat >nginx.conf <<END
worker_processes 1;
user root;
pid nginx.pid;
error_log stderr;
events {}
http {
    access_log off;
    keepalive_timeout 1s;
    client_header_timeout 1s;
    client_body_temp_path tmp_body;
    proxy_temp_path tmp_proxy;
    fastcgi_temp_path tmp_fastcgi;
    uwsgi_temp_path tmp_uwsgi;
    scgi_temp_path tmp_scgi;
    server {
        listen 80;
        root www;
        location /chunked/ { alias www/; ssi on; ssi_types *; }
        location /closed/ {
            alias www/; ssi on; ssi_types *; chunked_transfer_encoding off;
        }
        location /500 { return 500 oops; }
        location /echo { proxy_pass http://127.0.0.1:8001; }
    }
}
END
ip netns exec server python3 "$peers" www >ready 2>python.log &
ip netns exec server "$nginx" -e stderr -p "$work" -c nginx.conf 2>nginx.log
await "Python's servers" grep -q ready ready

client() { on near timeout 20 "$driver" "$@"; }

# run ARGUMENT... - the exit status and what is printed, long texts by their
# checksum.
run() {
    client "$@" >out
    status=$?
    [ "$(wc -c <out)" -lt 100 ] && echo "$status $(cat out)" ||
        echo "$status $(cksum <out)"
}
page=$(cksum <www/page)
half=$(cksum <half)

# why; arguments; status and body
while IFS=';' read -r why arguments expected; do
    # The arguments are words.
    # shellcheck disable=SC2086
    check "$why" "$expected" "$(run $arguments)"
done <<END
nginx, length;get http://$server/page;0 $page
nginx, chunked;get http://$server/chunked/page;0 $page
nginx, until it closes;get http://$server/closed/page;0 $page
nginx, a user;get http://user:secret@$server/page;0 $page
nginx, 404;get http://$server/none;1 
nginx, 500;get http://$server/500;0 oops
nginx, 100 Continue;post http://$server/echo Expect:100-continue body;0 body
nginx, upload;upload http://$server/echo X:y www/page;0 $page
Python, length;get http://$server:8000/page;0 $page
Python, 100 Continue;post http://$server:8001/ Expect:100-continue body;0 body
Python, upload;upload http://$server:8001/ X:y www/page;0 $page
Python, upload without a name;upload http://$server:8001/401 X:y half;1 $half
silence;get http://$server:8002/silent 300;1 
reset in the body;get http://$server:8002/reset;0 half
a chunk of no size;get http://$server:8002/badchunk;0 good
a chunk cut off;get http://$server:8002/cutchunk;0 goodhalf
a byte at a time;get http://$server:8002/drip;0 hello
a head without end;get http://$server:8002/endless;1 
no HTTP at all;get http://$server:8002/noise;1 
a closed port;get http://$server:9/;1 
END

# --- Files --------------------------------------------------------------------

cp half part
cp half asked
# why; file, which the arguments end in; status and what is printed; content
while IFS=';' read -r why arguments file expected content; do
    # shellcheck disable=SC2086
    check "$why" "$expected$content" \
        "$(run $arguments "$file")$(cksum <"$file")"
done <<END
a new file;download http://$server/page;new;0 ;$page
resume;resume http://$server/page;asked;0 206;$page
a head without its end;download http://$server/page;part;14 ;$half
END

# --- Connecting ---------------------------------------------------------------

# open WHY RESULT URL LEAST MOST - with 1 s to connect; the time in ms.
open() {
    time_ms=$(client open "$3" 1)
    check "$1" "$2" $?
    [ "$time_ms" -ge "$4" ] && [ "$time_ms" -le "$5" ]
    check "$1: $time_ms ms" 0 $?
}
on near ip route add 10.79.9.0/24 via $server
open "an address that drops" 1 http://10.79.9.9/ 990 1300
open "ftp" 0 ftp://$server/file 0 990
await "end of the ftp connection" test -s ftp
check "what ftp hears" nothing "$(cat ftp)"
finish
