#!/bin/sh
# Makes the baseline of the binary interface anew from the release build. For deliberate changes only: the baseline is
# what existing clients were built against.
set -eu
cd "$(dirname "$0")/.."
abidw --no-corpus-path --no-comp-dir-path --no-show-locs build/lib/libq7common.so | sed "s|$PWD/||g" >abi/libq7common.abi
