#!/bin/sh
# headers_test.sh ROOT CC CXX FOLDER... - every public header compiles alone,
# as C11 and as C++17.
set -eu
root=$1 cc=$2 cxx=$3
shift 3
warnings="-Wall -Wextra -Werror -pedantic-errors"
count=0

cd "$root"
for header in $(grep -l 'UPNP_C_BEGIN' $(printf '%s/*.h ' "$@") 2>/dev/null); do
    count=$((count + 1))
    # A header of macros alone would leave an empty unit, which C forbids.
    unit="#include \"$header\"
typedef int not_empty;"
    echo "$unit" | $cc -std=c11 $warnings -I. -fsyntax-only -x c -
    echo "$unit" | $cxx -std=c++17 $warnings -I. -fsyntax-only -x c++ -
done
echo "$count headers"
[ "$count" -gt 10 ]
