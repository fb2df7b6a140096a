#!/bin/sh
# install_test.sh CMAKE GENERATOR BUILD CONSUMER WORK - an installed library is
# found and used from an empty project, through the CMake package and
# pkg-config, from C and from C++.
set -eu
cmake=$1 generator=$2 build=$3 consumer=$4 work=$5
prefix=$work/prefix

rm -rf "$work"
"$cmake" --install "$build" --prefix "$prefix" >/dev/null

"$cmake" -G "$generator" -S "$consumer" -B "$work/build" \
    -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
"$cmake" --build "$work/build" >/dev/null
"$work"/build/consumer-c
"$work"/build/consumer-cpp

pc=$(dirname "$(find "$prefix" -name qm-base.pc)")
# The file is written for the default prefix; tell where it lies now.
flags=$(PKG_CONFIG_PATH=$pc pkg-config --define-variable=prefix="$prefix" \
    --cflags --libs qm-base)
# shellcheck disable=SC2086
cc -std=c11 "$consumer"/main.c -o "$work/by-pkg-config" $flags
LD_LIBRARY_PATH=$(dirname "$pc") "$work/by-pkg-config"
