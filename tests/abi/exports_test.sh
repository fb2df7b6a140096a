#!/bin/sh
# exports_test.sh LIB.so LIB.a MAP - the names that the code marks as exported,
# the version script's and the shared library's are the same.
set -eu
shared=$1 static=$2 map=$3
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# The sanitizers add exported names of their own, which begin with "__".
readelf -sW "$static" |
    awk '$5 == "GLOBAL" && $6 == "DEFAULT" && $7 != "UND" { print $8 }' |
    grep -v -e '^__' -e '^_Z' | sort -u >"$dir/marked"
sed -n 's/^ *\([A-Za-z_][A-Za-z_0-9]*\);.*/\1/p' "$map" |
    sort >"$dir/listed"
nm -D --defined-only "$shared" | sed 's/.* //; s/@.*//' |
    grep -v -e '^QM_BASE_' -e '^__' -e '^_Z' | sort -u >"$dir/exported"

status=0
diff "$dir/marked" "$dir/listed" >"$dir/diff" || {
    echo "< marked in the code only, > in the version script only:"
    cat "$dir/diff"
    status=1
}
diff "$dir/listed" "$dir/exported" >"$dir/diff" || {
    echo "< in the version script only, > in the shared library only:"
    cat "$dir/diff"
    status=1
}
[ -s "$dir/exported" ] || { echo "nothing is exported"; status=1; }
exit $status
