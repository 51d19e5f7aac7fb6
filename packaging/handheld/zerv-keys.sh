#!/bin/sh
# zerv-keys: asks for the machine's buttons and writes keys.txt into the folder that the player works in.
try=$(dirname "$0")/.try # some shells think that root may write anywhere
{ (: >"$try") 2>/dev/null && rm -f "$try"; } || ZERV_FOLDER=${ZERV_FOLDER:-${HOME:-/tmp}/.zerv-player}
lib=$(cd "$(dirname "$0")" && pwd)/lib
[ -z "$ZERV_FOLDER" ] || mkdir -p "$ZERV_FOLDER"
cd "${ZERV_FOLDER:-$(dirname "$0")}" || exit 1
exec "$lib/ld.so" --library-path "$lib" "$lib/zerv-keys" "$@"
