#!/bin/sh
# playlists_test.sh QM-SERVE - WPL files and stored playlists as containers, and
# the store on the administration page.
set -u
serve=$1
# shellcheck source=tests/system/soap.sh
. "$(dirname "$0")/soap.sh"
# shellcheck source=tests/system/netns.sh
. "$(dirname "$0")/netns.sh"

url=http://127.0.0.1:9000
curl() { on server curl "$@"; }
host server

# Each file holds its own path.
mkdir -p media/lists "media/R&B" media/up
for name in a.mp3 "R&B/Ä 100%.mp3" "R&B/it's <\"x\">&amp;.mp3" .hidden.mp3; do
    printf '%s' "$name" >"media/$name"
done
echo secret >outside.mp3
ln -s ../../outside.mp3 media/lists/link.mp3
cat >media/lists/Mix.wpl <<END
<?wpl version="1.0"?>
<smil><head><meta name="Source" content="CDS"/><title>R&amp;B &lt;mix></title>
</head><body><seq>
<media src="..\R&amp;B\Ä 100%.mp3" title="&quot;T&quot;"/>
<media src="../a.mp3"/><media src="missing.mp3"/><media src="../../outside.mp3"/>
<media src="link.mp3"/><media src="$work/outside.mp3"/><media src="../R&amp;B"/>
<media src="$work/media/R&amp;B/it&apos;s &lt;&quot;x&quot;>&amp;amp;.mp3"/>
<media src="..%2Fa.mp3"/><media src="../.hidden.mp3"/>
</seq></body></smil>
END
echo '<smil><title>Torn</title><media src="' >media/Torn.WPL
cp media/lists/Mix.wpl mix
tracks="R&B/Ä 100%.mp3|a.mp3|R&B/it's <\"x\">&amp;.mp3|a.mp3"

# id TITLE - of a container.
id() { search 0 "dc:title = \"$1\"" '' 0 0 '' | ids; }
# played ID [ORDER] - what the items of a container hold.
played() {
    browse "$1" DirectChildren '*' 0 0 "${2-}" | urls |
        while read -r item; do curl -s "$item" && echo; done | joined
}
# hidden NAME - the first value of a hidden field on the page.
hidden() {
    curl -s "$url/admin" | sed -n "s/.*name=\"$1\" value=\"\([^\"]*\)\".*/\1/p" |
        head -n 1
}
# post DO NAME VALUE - the status of a form, about the first playlist.
post() {
    curl -s -o part -w '%{http_code}' "$url/admin" --data-urlencode "$2=$3" \
        -d section=playlists -d token="$(hidden token)" -d key="$(hidden key)" \
        -d do="$1"
}
update_id() { call ContentDirectory GetSystemUpdateID | value Id; }
start_server() { start server -nmcmode 0 -upload media/up; }

start_server
mix=$(id Mix)
check "good tracks of a file" "$tracks" "$(played "$mix")"
check "sorted" "a.mp3|a.mp3|R&B/Ä 100%.mp3|R&B/it's <\"x\">&amp;.mp3" \
    "$(played "$mix" +dc:title)"
check "container" 'childCount="4"><dc:title>Mix</dc:title><upnp:class>object.container.playlistContainer' \
    "$(browse "$mix" Metadata @childCount 0 0 '' | grep -o 'childCount.*Container' | sed 's/&lt;/</g;s/&gt;/>/g;s/&quot;/"/g')"
browse "$mix" DirectChildren '*' 1 3 '' >answer
check "a page of items, with an ID each" "3 4 3" "$(value NumberReturned <answer) $(
    value TotalMatches <answer) $(ids <answer | sort -u | wc -l)"
check "the file of two items" "$(search 0 'dc:title = "a" and @refID exists false' \
    '*' 0 0 '' | tee original | ids)" \
    "$(objects <answer | sed -n 's/.*refID="\([^"]*\)".*>a<.*/\1/p' | uniq)"
check "its resource" "$(urls <original)" "$(urls <answer | sed -n 1p)"
check "metadata of an item" a \
    "$(browse "$(ids <answer | sed -n 3p)" Metadata '' 0 0 '' | titles)"
check "no playlist" "" "$(played "$(id Torn)")"
cmp -s mix media/lists/Mix.wpl || check "the file" "as it was" "rewritten"

check "nothing stored" "" "$(id Playlists)"
before=$(update_id)
mix_file=$(curl -s $url/admin | sed -n 's/.*value="\([^"]*\)">lists.Mix.*/\1/p')
check "import" "303 303" "$(post import file "$mix_file") $(post import file "$mix_file")"
check "import of another file" 400 "$(post import file 0123456789abcdef)"
check "update ID" 1 $(($(update_id) > before))
stored=$(id 'R&amp;B &lt;mix>')
check "stored tracks" "$tracks" "$(played "$stored")"
check "parent" "$(id Playlists)" "$(browse "$stored" Metadata '' 0 0 '' | objects |
    sed -n 's/.*parentID="\([^"]*\)".*/\1/p')"
plays() { [ "$(played "$stored")" = "$1" ]; }
rm media/lists/Mix.wpl
mv media/a.mp3 media/b.mp3
await "a track that went away" plays "$(echo "$tracks" | sed 's/|a.mp3//g')"
mv media/b.mp3 media/a.mp3
stop

start_server
check "the same playlist in the next run" "$tracks" "$(played "$stored")"
check "rename" "303 400 303" "$(post rename title 'Ü "2" & <x>') $(post rename title ' ') $(
    post write title '')"
check "old ID" 701 "$(browse "$stored" Metadata '' 0 0 '' | value errorCode)"
link=$url/admin/playlists/$(hidden key).wpl
curl -s -D head -o export "$link"
check "type" "application/vnd.ms-wpl" \
    "$(sed -n 's/^Content-Type: \([^\r]*\).*/\1/Ip' head)"
check "export" "$(cat <<END
    <title>Ü &quot;2&quot; &amp; &lt;x&gt;</title>
      <media src="R&amp;B/Ä 100%.mp3"  title="&quot;T&quot;"  />
      <media src="a.mp3"/>
      <media src="R&amp;B/it&#39;s &lt;&quot;x&quot;&gt;&amp;amp;.mp3"/>
      <media src="a.mp3"/>
END
)" "$(grep -E 'title>|media' export)"
written='media/up/Ü "2" & <x>.wpl'
check "seen from the upload folder" '<media src="../a.mp3"/>' \
    "$(grep -o '<media.*a.mp3.*' "$written" | head -n 1)"
check "what was written" "$tracks" "$(played "$(search 0 \
    '@refID exists false and dc:title contains "Ü"' '' 0 0 '+upnp:class' | ids | tail -n 1)")"
stop

start_server
check "delete" "303 400" "$(post delete x x) $(post delete x x)"
check "nothing stored any more" "|" "$(id Playlists)|$(ls data/playlists 2>/dev/null; ls playlists)"
stop
finish
