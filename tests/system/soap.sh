# soap.sh - calls the example server's services. Sourced by a test, which sets
# url, without the "/" at its end.
# shellcheck shell=sh disable=SC2154

# call SERVICE ACTION [ARGUMENT VALUE]... - the answer. Values are escaped.
call() {
    service=$1
    action=$2
    shift 2
    arguments=
    while [ $# -gt 0 ]; do
        arguments="$arguments<$1>$2</$1>"
        shift 2
    done
    curl -s "$url/$service/Control" -H 'Content-Type: text/xml; charset="utf-8"' \
        --data-binary "<?xml version=\"1.0\"?>
<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\">
<s:Body><u:$action xmlns:u=\"urn:schemas-upnp-org:service:$service:1\">
$arguments</u:$action></s:Body></s:Envelope>"
}

# browse ID FLAG FILTER START COUNT ORDER, search ID CRITERIA FILTER START COUNT
# ORDER
browse() {
    call ContentDirectory Browse ObjectID "$1" BrowseFlag "Browse$2" \
        Filter "$3" StartingIndex "$4" RequestedCount "$5" SortCriteria "$6"
}
search() {
    call ContentDirectory Search ContainerID "$1" SearchCriteria "$2" \
        Filter "$3" StartingIndex "$4" RequestedCount "$5" SortCriteria "$6"
}

# value NAME - of that argument of an answer, unescaped.
value() {
    tr '\n' ' ' | sed "s/.*<$1>\(.*\)<\/$1>.*/\1/; s/&lt;/</g; s/&gt;/>/g
        s/&quot;/\"/g; s/&apos;/'/g; s/&amp;/\&/g"
    echo
}

# titles, ids and urls of the objects of an answer, one a line.
objects() { value Result | sed 's/<item/\n<item/g; s/<container/\n<container/g'; }
titles() { objects | sed -n 's/.*<dc:title>\(.*\)<\/dc:title>.*/\1/p'; }
ids() { objects | sed -n 's/^<[a-z]* id="\([^"]*\)".*/\1/p'; }
urls() { objects | sed -n 's/.*>\(http:[^<]*\)<.*/\1/p'; }
joined() { paste -sd '|'; }
