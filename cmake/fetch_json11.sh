#!/bin/sh
# Puts json11.cpp and json11.hpp into the folder named by $1, checked by their SHA-256. They come
# out of the source package `yosys`, fetched with apt's own source download through the mirror that
# this machine's apt already uses; nothing of the machine's apt configuration is changed.
set -eu

dest=$1
cpp_sum=f09628cb9b615995ca80001268031868d34031e2ad82b07567ff58575985b54f
hpp_sum=d3483048e71d6889b6e5b849bc1dd8dff18955ba667bb1254ee32d857603b4e8

is_good() {
  [ -f "$1/json11.cpp" ] && [ -f "$1/json11.hpp" ] &&
    printf '%s  %s\n%s  %s\n' "$cpp_sum" "$1/json11.cpp" "$hpp_sum" "$1/json11.hpp" |
      sha256sum --check --status
}

if is_good "$dest"; then exit 0; fi

fail() {
  printf 'json11: %s\n' "$1" >&2
  exit 1
}

command -v apt-get >/dev/null || fail "not installed, and no apt-get to fetch its source with"
mkdir -p "$dest"
work=$(mktemp -d "$dest/fetch.XXXXXX")
trap 'rm -rf "$work"' EXIT
# apt drops to its own user for downloads; it must be able to enter the folder.
chmod 755 "$work"
mkdir -p "$work/lists/partial" "$work/cache/archives/partial" "$work/source"

# The machine's binary package sources, rewritten as source package sources.
{
  find /etc/apt -name '*.sources' -exec sed 's/^Types:.*/Types: deb-src/' {} \; -exec echo \;
} >"$work/machine.sources"
{
  find /etc/apt -name '*.list' -exec sed -n 's/^deb[[:space:]]/deb-src /p' {} \;
} >"$work/machine.list"
mkdir "$work/parts"
[ ! -s "$work/machine.sources" ] || cp "$work/machine.sources" "$work/parts/"
[ ! -s "$work/machine.list" ] || cp "$work/machine.list" "$work/parts/"

apt_here() {
  apt-get -qq -o APT::Sandbox::User=root -o Dir::Etc::sourcelist=/dev/null \
    -o Dir::Etc::sourceparts="$work/parts" -o Dir::State::lists="$work/lists" \
    -o Dir::Cache="$work/cache" "$@"
}

echo "json11: fetching its source through apt" >&2
apt_here update >&2 || fail "apt could not read the source package lists"
(cd "$work/source" && apt_here source --download-only yosys >&2) ||
  fail "apt could not download the source package yosys"
for archive in "$work"/source/*.orig.tar.*; do
  tar -xf "$archive" -C "$work/source" --wildcards --strip-components=3 '*/libs/json11/json11.*' ||
    fail "no json11 in $archive"
done
is_good "$work/source" || fail "the files fetched are not the ones expected (SHA-256 differs)"
mv "$work/source/json11.cpp" "$work/source/json11.hpp" "$dest/"
