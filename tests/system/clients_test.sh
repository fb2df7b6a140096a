#!/bin/sh
# clients_test.sh QM-SERVE DRIVER - who qm-serve takes its clients for, what
# that changes, and what an operator changes of it.
set -u
program=$1
driver=$2
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

# The program with types of the test's own: each shows in the MIME type of a
# file, by the name that the type has.
serve=$work/qm-serve
cp "$program" "$serve"
mkdir -p resources media player
cat >resources/clients.db <<'END'
>>
NA:own
>>
NA:generic
MT:avi,- video/x-generic
>>
NA:app
HH:App/
XM:DATETIME XM:noutf8 XM:DLNANO XM:IGNORESORT HP:close DX:ABSOLUTEURI
MT:avi,- video/x-app
>>
NA:music
HH:Music/
XM:AARES AV:M
MT:avi,- video/x-music
>>
NA:pc
HH:Pc/
DB:FIXPC
MT:avi,- video/x-pc
>>
NA:tv
HH:Tv/
DB:FIX
MT:avi,- video/x-tv
>>
NA:renderer
DD:<manufacturer>QuorelMedia
MT:avi,- video/x-renderer
>>
NA:browser
HB:Browsing/
MB:<BrowseFlag>BrowseDirectChildren</BrowseFlag><RequestCount>7</RequestCount>
MT:avi,- video/x-browser
>>
,
END
touch -d '2009-01-02 03:04:05' 'media/ä.mp3' media/a.avi media/cover.jpg

url=http://10.78.1.1:9000
phone=02:00:00:00:02:02
player=02:00:00:00:03:02
host server
host phone
host player
link server eth0 10.78.1.1 02:00:00:00:01:01 phone eth0 10.78.1.2 $phone
link server eth1 10.78.2.1 02:00:00:00:01:02 player eth0 10.78.2.2 $player
ip -n phone link set eth0 address $phone
ip -n player link set eth0 address $player
start server -nmcmode 0

# --- What the tests ask for ---------------------------------------------------

# status HOST CURL-OPTION...
status() { on "$@" -s -o /dev/null -w '%{http_code}'; }

# taken_for HOST AGENT [URL] - the type that the server takes a request for.
taken_for() {
    on "$1" curl -s -o /dev/null -A "$2" -w '%{content_type}' "${3-$url}/media/a.avi" |
        cut -d- -f2
}

# record MAC - name, address, state and type.
record() {
    on server curl -s $url/admin | tr -d '\n' | sed 's/<tr>/\n/g' |
        sed -n "s|^<td>\([^<]*\)</td><td>\([^<]*\)</td><td>$1</td><td>\([a-z]*\)<.* selected>\([a-z]*\) .*|\1 \2 \3 \4|p"
}

# act MAC ACTION TYPE [TOKEN]
act() {
    token=$(on server curl -s $url/admin |
        sed -n 's/.*name="token" value="\([0-9a-f]*\)".*/\1/p' | head -n 1)
    status server curl $url/admin -d section=clients -d "token=${4-$token}" \
        -d "mac=$1" -d "do=$2" -d "type=$3"
}

# browse AGENT COUNT - of the root, on the phone.
browse() {
    on phone curl -s -A "$1" $url/ContentDirectory/Control -d "<s:Envelope>
<s:Body><u:Browse><ObjectID>0</ObjectID>
<BrowseFlag>BrowseDirectChildren</BrowseFlag><Filter>*</Filter>
<StartingIndex>0</StartingIndex><RequestedCount>$2</RequestedCount>
<SortCriteria>-dc:title</SortCriteria></u:Browse></s:Body></s:Envelope>"
}

# --- By the heads of requests -------------------------------------------------

for agent in curl App Music; do
    browse $agent/1 0 | tr -d '\n' |
        sed 's/&lt;/</g; s/&gt;/>/g; s/&quot;/"/g; s/&amp;/\&/g' >didl.$agent
done
# agent, pattern, how often it stands in the answer
while read -r agent pattern count; do
    check "$agent: $pattern" "$count" "$(grep -o "$pattern" "didl.$agent" | wc -l)"
done <<'END'
curl <dc:title>ä< 1
App <dc:title>&#228;< 1
curl <dc:date>2009-01-02< 3
App <dc:date>2009-01-02T03:04:05< 3
curl video/x-generic:DLNA.ORG 1
App video/x-app:\*" 1
App /item/- 0
curl <item 3
Music <item 1
curl <res 3
Music <res 2
curl albumArtURI>http[^<]*\.jpg< 3
curl <dc:title>cover.*<dc:title>a< 1
App <dc:title>a<.*<dc:title>cover 1
END
check "absolute URLs" "0 7" "$(for agent in curl App; do
    on phone curl -s -A $agent/1 $url/QMSDeviceDescription.xml |
        grep -c "URL>$url/"
done | xargs)"
check "a connection for each request" 2 "$(on phone curl -s -A App/1 -o /dev/null \
    -o /dev/null -w '%{num_connects}\n' $url/icon.png $url/icon.png | grep -c 1)"

# agent, then what it is taken for. Until a type is fixed each request counts;
# one fixed for the address gives way to fixed ones alone, and they to none.
while read -r agent expected; do
    check "$agent" "$expected" "$(taken_for phone "$agent/1")"
done <<'END'
curl app
Music music
Pc pc
App pc
Tv tv
Pc tv
END
check "record" "tv 10.78.1.2 allowed tv" "$(record $phone)"
ip -n phone addr flush dev eth0
ip -n phone addr add 10.78.1.3/24 dev eth0
check "record at another address" "tv tv 10.78.1.3 allowed tv" \
    "$(taken_for phone curl/1) $(record $phone)"

# --- By the operator ----------------------------------------------------------

check "token" 403 "$(act $phone disable 0 0123)"
check "site that leads here" 403 \
    "$(status server curl $url/admin -H 'Host: example.com')"
check "large form" 400 "$(head -c 70000 /dev/zero | tr '\0' = |
    status server curl $url/admin -d @-)"
check "unknown type" 400 "$(act $phone retype 8)"
check "forget" "303 " "$(act $phone delete 0) $(record $phone)"
check "known anew" app "$(taken_for phone App/1)"
check "retype" 303 "$(act $phone retype 3)"
check "beats fixed types" music "$(taken_for phone Tv/1)"
check "deny" 303 "$(act $phone disable 0)"

# --- By its description -------------------------------------------------------

ip netns exec player "$serve" media -appdata "$work/player" -inipath "$work/player" \
    -nmcmode 0 >/dev/null &
device=$!
typed() { record $player | grep -q renderer; }
await "description" typed
check "device" renderer "$(taken_for player curl/1 http://10.78.2.1:9000)"
# The operator beats it, too, although the device announces itself anew.
check "retype" 303 "$(act $player retype 2)"
stop
start server -nmcmode 0
kill -USR1 $device
kill -USR2 $device
# A forged one leads to somebody else.
printf '%s\r\n' 'NOTIFY * HTTP/1.1' 'NT: upnp:rootdevice' 'NTS: ssdp:alive' \
    'LOCATION: http://10.78.2.2:9000/' 'USN: uuid:0123456789::upnp:rootdevice' '' |
    on phone "$driver" ask 10.78.1.3

check "denied after a restart" "music 10.78.1.3 denied music 403 403 200" \
    "$(record $phone) $(status phone curl $url/) $(
        status phone curl $url/ContentDirectory/Control -d x) $(
        status phone curl $url/QMSDeviceDescription.xml)"
check "allow" "303 music" "$(act $phone enable 0) $(taken_for phone Tv/1)"
check "retyped after a restart" "app 10.78.2.2 allowed app" "$(record $player)"

# --- By what it browses for ---------------------------------------------------

check "forget" 303 "$(act $phone delete 0)"
for count in 6 7; do
    browse Browsing/1 $count >/dev/null
    taken_for phone curl/1
done >browsed
check "Browse" "generic browser" "$(xargs <browsed)"

check "descriptions fetched" 1 "$(on player sed -n 's/^Tcp: //p' /proc/net/snmp |
    cut -d' ' -f6 | tail -n 1)"
kill $device
wait $device
check "exit status of the device" 0 $?
stop
finish
