#!/bin/sh
# browse_test.sh QM-SERVE - the example server's ContentDirectory and
# ConnectionManager, as SOAP requests see them; and its settings.
set -u
serve=$1
# shellcheck source=tests/system/loopback.sh
. "$(dirname "$0")/loopback.sh"
# shellcheck source=tests/system/soap.sh
. "$(dirname "$0")/soap.sh"

mkdir -p media/many media/sub/deeper data
seq -f 'media/many/f%05.0f.txt' 0 9999 | xargs touch
long=$(printf '%.0s&' $(seq 60))
for name in "<b> & \"c\" 'd'.mp3" "Äpfel.png" "$(printf 'a\tb\001c\377')" "$long"; do
    printf '%s' "$name" >"media/sub/$name"
done
echo deep >media/sub/deeper/Song.MP3
ln -s ../.. media/sub/deeper/loop

# start [FOLDER] OPTION... - sets url, without the "/" at its end.
start() {
    launch "$serve" "$@" -nmcmode 0 -appdata "$work/data" -inipath "$work/data"
    url=${line%/}
}

start media -ip 127.0.0.1

# --- DIDL-Lite ----------------------------------------------------------------

sub=$(browse 0 DirectChildren '' 0 0 '' | objects |
    sed -n 's/.* id="\([^"]*\)".*>sub<.*/\1/p')
answer=$(browse "$sub" DirectChildren res@size 0 0 +dc:title)
set -- $(printf %s "$answer" | ids)
id="parentID=\"$sub\" restricted=\"1\""
flags=DLNA.ORG_OP=01\;DLNA.ORG_CI=0\;DLNA.ORG_FLAGS=
zeros=000000000000000000000000
cut=$(printf '%.0s&amp;' $(seq 50))...
expected="<DIDL-Lite xmlns=\"urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/\"\
 xmlns:dc=\"http://purl.org/dc/elements/1.1/\"\
 xmlns:upnp=\"urn:schemas-upnp-org:metadata-1-0/upnp/\">\
<item id=\"$1\" $id><dc:title>$cut</dc:title>\
<upnp:class>object.item</upnp:class>\
<res protocolInfo=\"http-get:*:application/octet-stream:*\" size=\"60\">\
$url/item/$1</res></item>\
<item id=\"$2\" $id><dc:title>&lt;b&gt; &amp; &quot;c&quot; &apos;d&apos;</dc:title>\
<upnp:class>object.item.audioItem.musicTrack</upnp:class>\
<res protocolInfo=\"http-get:*:audio/mpeg:${flags}01700000$zeros\" size=\"17\">\
$url/item/-OP01-CI0-FLAGS01700000/$2.mp3</res></item>\
<item id=\"$3\" $id><dc:title>a&#9;b$(printf '\357\277\275')c$(printf '\357\277\275')</dc:title>\
<upnp:class>object.item</upnp:class>\
<res protocolInfo=\"http-get:*:application/octet-stream:*\" size=\"6\">\
$url/item/$3</res></item>\
<item id=\"$4\" $id><dc:title>Äpfel</dc:title>\
<upnp:class>object.item.imageItem.photo</upnp:class>\
<res protocolInfo=\"http-get:*:image/png:${flags}00f00000$zeros\" size=\"10\">\
$url/item/-OP01-CI0-FLAGS00f00000/$4.png</res></item>\
<container id=\"$5\" $id><dc:title>deeper</dc:title>\
<upnp:class>object.container.storageFolder</upnp:class>\
<upnp:storageUsed>-1</upnp:storageUsed></container></DIDL-Lite>"
check "DIDL of odd names" "$expected" "$(printf %s "$answer" | value Result)"

# Each file holds its own name.
fetched=$(printf %s "$answer" | urls | while read -r item; do
    curl -s "$item" >part
    cmp part "media/sub/$(cat part)" && echo same
done)
check "each resource" 'same|same|same|same' "$(printf %s "$fetched" | joined)"
check "unknown resource" 404 \
    "$(curl -s -o part -w '%{http_code}' "$url/item/0123456789abcdef.mp3")"
check "metadata of the root" \
    '<container id="0" parentID="-1" restricted="1" searchable="1" childCount="2">' \
    "$(browse 0 Metadata '*' 0 0 '' | objects | grep -o '<container[^>]*>')"

# --- Pages and order ----------------------------------------------------------

many=$(browse 0 DirectChildren dc:title 0 0 '' | ids | head -n 1)
start=0
: >all
while [ "$start" -lt 10000 ]; do
    answer=$(browse "$many" DirectChildren dc:title "$start" 900 -dc:title)
    count=$(printf %s "$answer" | value NumberReturned)
    [ "$count" -gt 0 ] 2>/dev/null || break
    printf %s "$answer" | titles >>all
    start=$((start + count))
done
check "all pages together" "$(seq -f 'f%05.0f.txt' 0 9999 | tac | cksum)" \
    "$(cksum <all)"
# start, count, then NumberReturned of 10000
while read -r start count expected; do
    check "$count from $start" "$expected 10000" \
        "$(browse "$many" DirectChildren dc:title "$start" "$count" '' >answer
        value NumberReturned <answer) $(value TotalMatches <answer)"
done <<'END'
9990 100 10
10000 1 0
4294967295 4294967295 0
0 0 1000
END
check "classes, then titles" "deeper|a&#9;b" \
    "$(browse "$sub" DirectChildren dc:title 0 2 +upnp:class,-dc:title |
        titles | sed 's/\(b\).*c.*/\1/' | joined)"

# --- Search -------------------------------------------------------------------

# criteria, then titles
while IFS='|' read -r criteria expected; do
    check "search $criteria" "$expected" \
        "$(search "$sub" "$criteria" dc:title 0 0 +dc:title | titles | joined)"
done <<'END'
dc:title contains "SONG"|Song
upnp:class derivedfrom "object.item.audioItem" and dc:title != "x"|&lt;b&gt; &amp; &quot;c&quot; &apos;d&apos;|Song
upnp:class derivedfrom "object.item.audio"|
(dc:title = "äpfel") or (@refID exists false and dc:title = "deeper")|deeper
dc:title = "&lt;b> &amp; \"c\" 'd'"|&lt;b&gt; &amp; &quot;c&quot; &apos;d&apos;
dc:title = "Song" or dc:title = "Äpfel" and upnp:class = "object"|Song
END
check "search in pages" "1 10005" \
    "$(search 0 'upnp:class derivedfrom "object.item"' dc:title 10004 9 '' >answer
    value NumberReturned <answer) $(value TotalMatches <answer)"

# --- Errors -------------------------------------------------------------------

# fault WHY CODE - of an answer on standard input.
fault() { check "$1" "$2" "$(value errorCode)"; }
deep=$(printf '%.0s(' $(seq 99))
for id in '' 1 00 ../.. "$sub/.." 0123456789abcdef "$(printf %s "$sub" | tr a-f A-F)"; do
    browse "$id" DirectChildren '*' 0 0 '' | fault "object '$id'" 701
done
browse 0 Everything '*' 0 0 '' | fault "flag" 600
browse 0 Metadata '*' -1 0 '' | fault "negative number" 402
browse 0 Metadata '*' 0 4294967296 '' | fault "large number" 402
call ContentDirectory Browse ObjectID 0 | fault "missing arguments" 402
for order in dc:title +dc:date +dc:title, ,; do
    browse 0 DirectChildren '*' 0 0 "$order" | fault "order '$order'" 709
done
for criteria in '' 'dc:title' 'dc:title = x' 'dc:title = "x' 'dc:date = "x"' \
    'dc:title = "x" nor dc:title = "y"' '(dc:title = "x"' '* *' "$deep"; do
    search 0 "$criteria" '*' 0 0 '' | fault "criteria '$criteria'" 708
done
search 1 '*' '*' 0 0 '' | fault "container" 710
call ContentDirectory Destroy | fault "unknown action" 401
call ConnectionManager Browse | fault "action of the other service" 401
curl -s "$url/ContentDirectory/Control" -d '<a><b' | fault "no envelope" 401
check "events" 501 "$(curl -s -X SUBSCRIBE -o part -w '%{http_code}' \
    "$url/ContentDirectory/Event")"

# --- The rest -----------------------------------------------------------------

check "search capabilities" dc:title,upnp:class,@refID \
    "$(call ContentDirectory GetSearchCapabilities | value SearchCaps)"
check "sort capabilities" dc:title,upnp:class \
    "$(call ContentDirectory GetSortCapabilities | value SortCaps)"
call ConnectionManager GetProtocolInfo | value Source |
    grep -q 'http-get:\*:audio/mpeg:\*,' || check "protocols" present missing
check "connections" 0 \
    "$(call ConnectionManager GetCurrentConnectionIDs | value ConnectionIDs)"

before=$(call ContentDirectory GetSystemUpdateID | value Id)
check "nothing changed" "$before" \
    "$(call ContentDirectory GetSystemUpdateID | value Id)"
touch media/sub/new.txt
check "one change" 1 \
    "$(( $(call ContentDirectory GetSystemUpdateID | value Id) > before ))"
check "new file" new.txt \
    "$(search "$sub" 'dc:title = "new.txt"' '' 0 0 '' | titles)"

stop

# --- Settings -----------------------------------------------------------------

ini=$work/data/quorelmedia.ini
check "the file of the first start" "folder=$work/media|ip=127.0.0.1" \
    "$(grep -E '^(folder|ip)=' "$ini" | sort | joined)"
sed -i 's/^friendlyname=.*/friendlyname=From the file/' "$ini"
start
check "folder and name of the file" "media From the file" \
    "$(browse 0 Metadata '' 0 0 '' | titles) $(
        curl -s "$url/QMSDeviceDescription.xml" | value friendlyName)"
stop
start media/sub -friendlyname 'From the command line'
check "the command line goes first" "sub From the command line" \
    "$(browse 0 Metadata '' 0 0 '' | titles) $(
        curl -s "$url/QMSDeviceDescription.xml" | value friendlyName)"
stop
check "help" "usage: $serve" "$("$serve" --help | grep -m 1 usage)"
"$serve" -appdata "$work" -inipath "$work" >part 2>&1
check "no folder at all" 2 $?
finish
