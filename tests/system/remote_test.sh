#!/bin/sh
# remote_test.sh QM-SERVE - clients from outside, over TLS: what they get, and
# what they do not.
set -u
serve=$1
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

host server
url=https://127.0.0.1:9443
home=http://127.0.0.1:9000
trusted="--cacert $work/qm-serve.crt"

curl() { on server curl -s --path-as-is --max-time 60 "$@"; }
# shellcheck disable=SC2086
get() { curl $trusted "$@"; }
status() { get -o /dev/null -w '%{http_code}' "$@"; }
starts() {
    start server -nmcmode 0 -ip 127.0.0.1 -httpport 9000 -upload . "$@"
}
client() {
    on server timeout 30 openssl s_client -connect 127.0.0.1:9443 -ign_eof \
        -CAfile qm-serve.crt -verify_return_error 2>/dev/null
}

# statuses - for each row its code, path and options.
statuses() {
    while read -r code path options; do
        # shellcheck disable=SC2086
        check "$path with $options" "$code" "$(status $options "$url$path")"
    done
}

# refused WHY OPTION... - what the server says to this at its start.
refused() {
    refused_why=$1
    shift
    on server timeout 20 "$serve" media -appdata none -nmcmode 0 \
        -ip 127.0.0.1 -remoteport "$@" >out 2>&1
    check "start with $refused_why" 1 $?
    check "message about $refused_why" 1 \
        "$(grep -c "^qm-serve:.*$refused_why" out)"
}

mkdir -p media/sub
head -c 100M /dev/urandom >media/large.bin
echo one >media/one.txt
echo two >'media/sub/"two".txt'

# --- The start ----------------------------------------------------------------

while read -r why options; do
    # shellcheck disable=SC2086
    refused "$why" $options
done <<END
not.for.everybody 9443
together 9443 -user me
no.port 70000 -user me -password secret
30.visible 9443 -user me -password $(printf %031d 0)
30.visible 9443 -user a:b -password secret
cert.and.-key 9443 -user me -password secret -cert a
certificate 9443 -user me -password secret -cert /dev/null -key /dev/null
taken 9000 -user me -password secret -httpport 9000
END

# --- With a password ----------------------------------------------------------

starts -remoteport 9443 -user me -password secret
check "URLs" "$home/ $url/" "$(tr '\n' ' ' <urls | sed 's/ $//')"
check "file with the password" 600 "$(stat -c %a quorelmedia.ini)"
get -u me:secret $url/media/large.bin | cmp - media/large.bin ||
    check "100 MiB" 0 1
check "range" "$(tail -c +1001 media/large.bin | head -c 1000 | cksum)" \
    "$(get -u me:secret -r 1000-1999 $url/media/large.bin | cksum)"
check "page, without a token" 0 \
    "$(get -u me:secret $url/ | grep -c RAMSessionID)"
check "page by openssl" 1 "$(printf \
    'GET / HTTP/1.0\r\nAuthorization: Basic bWU6c2VjcmV0\r\n\r\n' |
    client | grep -c '<title>/</title>')"

other=$(printf %064d 0)
statuses <<END
401 /
401 /media/one.txt
401 /QMSDeviceDescription.xml
401 /icon.png?resources
401 /media/resources/../one.txt
401 /auth/ott
401 / -u me:wrong
401 / -u me:
401 / -u :secret
401 / -u other:secret
401 / -H Authorization:Basic
401 / -H X:bWU6c2VjcmV0
401 /ra?$other
401 /ra? -u me:secret
401 /?RAMSessionID=$other
401 / -b RAMSessionID=$other
401 / -b RAMSessionID=$other -u me:secret
401 / -b RAMSessionID=
401 /?RAMSessionID=
401 /?RAMSessionID=$(printf %09000d 0)
401 /admin
401 /upload/new.txt -X POST
401 /ContentDirectory/Control -X POST
200 /QMSDeviceDescription.xml -u me:secret
404 /none -u me:secret
401 /admin -u me:secret
401 /admin/ -u me:secret -X POST
401 /upload/new.txt -u me:secret -X POST -H Transfer-Encoding:chunked
403 /ContentDirectory/Control -u me:secret -X POST
403 /ConnectionManager/Event -u me:secret -X SUBSCRIBE
END
check "upload from outside" 0 "$(find . -name 'new*' | wc -l)"
check "what is no path" 404 "$(status -u me:secret --request-target none $url)"
check "way to the login on a 401" 1 "$(get $url/ | grep -c 'href="/auth/ott"')"
check "no login without TLS" 404 "$(status -u me:secret $home/auth/ott)"
check "home needs nothing" "200 200" \
    "$(status $home/) $(status -H Host:localhost $home/admin)"
check "plain HTTP at the TLS port" 000 "$(status http://127.0.0.1:9443/)"
check "TLS at the plain port" 000 "$(status https://127.0.0.1:9000/)"

# --- A session ----------------------------------------------------------------

get -D head -c jar -L -u me:secret $url/auth/ott >page
token=$(sed -n 's/.*RAMSessionID[[:blank:]]//p' jar)
check "token in the cookie" 64 ${#token}
check "cookies" 1 "$(grep -c '^Set-Cookie' head)"
check "caching of a page with tokens" 1 "$(grep -c "^Expires: 0" head)"
check "cookie on a later page" "200 0" \
    "$(status -b jar -D head $url/) $(grep -c Set-Cookie head)"
statuses <<END
200 / -H Cookie:a=b;RAMSessionID=$token;c=d
200 /?RAMSessionID=$token
401 /resources?RAMSessionID=${token}0
401 / -b RAMSessionID=${token%?}
403 /ContentDirectory/Control?RAMSessionID=$token -X POST
END
# The links alone lead on.
follow() { sed -n "s/.*href=\"\([^\"]*$1[^\"]*\)\".*/\1/p" page; }
get "$url$(follow sub)" >page
check "file by links" two "$(get "$url$(follow two)")"
check "links with a token" "$(grep -c href page)" \
    "$(grep -c "href=\"[^\"]*?RAMSessionID=$token\"" page)"
stop

# --- With an entry alone ------------------------------------------------------

rm quorelmedia.ini
starts -remoteport 9443 -entrytime 2
entry=$(sed -n 2p urls)
check "token of an earlier run" 401 "$(status -b jar $url/)"
check "entry" 200 "$(status -c jar "$entry")"
check "cookie of the entry" 200 "$(status -b jar $url/media/one.txt)"
check "no challenge without a password" 0 \
    "$(get -D - $url/ | grep -c WWW-Authenticate)"
check "login without a password" 401 "$(status -u : $url/auth/ott)"
await "end of the entry" sh -c \
    "ip netns exec server curl -s -D - $trusted -b jar $url/ | grep -q ' 401 '"
check "entry when its time is over" 401 "$(status "$entry")"
stop

finish
