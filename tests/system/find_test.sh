#!/bin/sh
# find_test.sh QM-SERVE QM-FIND - what qm-find asks of qm-serve, and of peers
# that answer what they should not.
set -u
serve=$1
program=$2
peers=$(realpath "$(dirname "$0")")/client_peers.py
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"
command -v python3 >/dev/null || skip "python3 is not installed"

mkdir -p media/sub
seq 100000 >media/big.txt
echo odd >"media/sub/<b> & \"c\" 'd' Ä.mp3"
touch "media/sub/$(printf 'a\tb\033c').txt"
seq -f 'media/f%03.0f.txt' 0 250 | xargs touch

url=http://127.0.0.1:9000
device=$url/QMSDeviceDescription.xml
control=$url/ContentDirectory/Control
find() { on server timeout 20 "$program" "$@"; }
host server
start server -nmcmode 0 -friendlyname '<A> & B'
ip netns exec server python3 "$peers" media >ready 2>python.log &
await "Python's servers" grep -q ready ready

# --- Device and objects -------------------------------------------------------

find describe "$device" >described
check "description" "<A> & B" "$(head -n 1 described)"
# fields of a line, blanks squeezed
while read -r expected; do
    check "line of the description" "$expected" \
        "$(tr -s ' ' <described | sed 's/^ //' | grep -Fx "$expected")"
done <<END
type urn:schemas-upnp-org:device:MediaServer:1
icon image/png 48x48x8 $url/icon.png
control $control
in BrowseFlag string: BrowseMetadata | BrowseDirectChildren
out Id ui4
END

find browse --depth 2 "$device" >browsed
id=$(sed -n 's/^sub.*  id \([0-9a-f]*\).*/\1/p' browsed)
check "objects of all pages" 253 "$(grep -c '^[^ ]' browsed)"
find browse "$device" "$id" >opened
check "container within the tree" "$(cat opened)" \
    "$(grep -A 4 '^sub' browsed | tail -n +2 | cut -c5-)"
check "odd titles" "<b> & \"c\" 'd' Ä|a?b�c.txt" \
    "$(sed -n 's/^\([^ ].*\)  \[.*/\1/p' opened | sort | paste -sd '|')"

# --- Files and actions --------------------------------------------------------

item=$(grep -A 1 '^big' browsed | grep -o 'http://[^ ]*')
head -c 300000 media/big.txt >half.part
cp half.part again.part
cp media/big.txt whole.part
cp media/big.txt long.part
echo more >>long.part
echo other >other
# exit status, file whose bytes come or what is printed, arguments
while read -r status expected arguments; do
    # The arguments are words.
    # shellcheck disable=SC2086
    find $arguments >out 2>err
    check "exit status of $arguments" "$status" $?
    got=${arguments##* }
    [ "$got" != - ] || got=out
    if [ -f "$expected" ]; then
        cmp "$got" "$expected"
    else
        grep -q -e "$expected" out err
    fi || check "$arguments" "$expected" "$(head -c 200 out err)"
done <<END
0 media/big.txt get $item -
0 media/big.txt get $item new
0 media/big.txt get $item half
0 media/big.txt get $item whole
0 media/big.txt get http://127.0.0.1:8000/big.txt again
1 not.fit get $item long
1 404 get $url/none none
1 cut.off get http://127.0.0.1:8002/cutchunk cut
1 No.such.file get $item none/none
0 ^Id=[0-9]*$ soap $device GetSystemUpdateID
0 ^Direction=Output$ soap $device GetCurrentConnectionInfo ConnectionID=0
1 701.No.such.object soap $device Browse SortCriteria= Filter=<&> BrowseFlag=BrowseMetadata ObjectID=<x>=& StartingIndex=0 RequestedCount=0
1 takes.no.such.argument soap $device Browse X=
1 no.service.has soap $device Destroy
2 NAME=VALUE soap $device Browse ObjectID
1 <errorCode>401< post $control other text/xml
0 ^other post http://127.0.0.1:8001/ other
1 401 post http://127.0.0.1:8001/401 other
1 No.such.file post $control none
1 no.connection describe http://127.0.0.1:1/
1 not.an.http describe ftp://127.0.0.1/
1 not.known describe http://nowhere.invalid/
1 no.<root> describe http://127.0.0.1:8002/drip
1 no.answer describe http://127.0.0.1:8002/noise
1 no.<root> describe http://127.0.0.1:8002/endless
1 cut.off describe http://127.0.0.1:8002/badchunk
1 cut.off describe http://127.0.0.1:8002/reset
2 usage: get $item
2 usage: browse $device --depth 0
END
check "what a cut download leaves" goodhalf "$(cat cut.part)"
stop
finish
