#!/usr/bin/env bash
# Builds the library twice, in folders of different names and depth and for different time zones, and compares the
# bytes: who has the sources and the time, host and system line of a release can prove that it was made of them.
# Neither build comes out of a compiler cache, which would make them alike, or unlike, by its own doing.
# check_reproducible.sh [JOBS]
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=${1:-$(nproc)}
temp=$PWD/build/repro
rm -rf "$temp"
mkdir -p "$temp"
trap 'rm -rf "$temp"' EXIT
export CCACHE_DISABLE=1 SOURCE_DATE_EPOCH=1767225600 ORV_BUILD_HOST=builder ORV_BUILD_UNAME='Linux builder 6.1.0 x86_64'

# build_in SOURCES BUILD: copies the sources to one folder and builds the library in another.
build_in() {
    mkdir -p "$1"
    tar -c --exclude=./build --exclude=./.git . | tar -x -C "$1"
    SECONDS=0
    cmake -G Ninja -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF > "$temp/log" 2>&1 &&
        cmake --build "$2" -j "$jobs" --target orvsmtp >> "$temp/log" 2>&1 || { tail -40 "$temp/log"; return 1; }
    echo "built in $SECONDS s"
}

build_in "$temp/one" "$temp/one/build"
TZ=Asia/Kathmandu build_in "$temp/another/and/deeper" "$temp/elsewhere"
first=$temp/one/build/lib64/liborvsmtp16_r.so
second=$temp/elsewhere/lib64/liborvsmtp16_r.so
cmp "$first" "$second"
grep -q 'DATE=2026/01/01' "$first" || { echo 'the time of the build is not the one asked for'; exit 1; }
echo "the same $(stat -Lc %s "$first") bytes twice"
