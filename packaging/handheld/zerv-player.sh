#!/bin/sh
# zerv-player: starts the player out of the folder that this file lies in, with the libraries, tables and
# configuration carried there: nothing of the machine's but its kernel and a shell is used. On a medium
# that cannot be written to (an image), settings and library live in ZERV_FOLDER, or below HOME.
count=$#
while [ "$count" -gt 0 ]; do # the player works in a folder of its own
    word=$1
    shift
    case $word in /* | -*) ;; *) [ ! -e "$word" ] || word=$PWD/$word ;; esac
    set -- "$@" "$word"
    count=$((count - 1))
done
cd "$(dirname "$0")" || exit 1
here=$PWD
self=$here/${0##*/}
lib=$here/lib
folder=$here
log=zerv-player.log

# What an image holds and the player looks for in the folder that it works in.
settle() {
    mkdir -p "$folder/skins" || exit 1
    # Another image than last time: its program counts, not an update of an older one.
    cmp -s "$here/version" "$folder/version" || rm -f "$folder/zerv-player"
    for each in version *.ttf skins/*.zip; do
        cmp -s "$here/$each" "$folder/$each" || cp "$here/$each" "$folder/$each"
    done
}

# Asked by trying: some shells think that root may write anywhere, also where nothing can be written.
can_write() {
    (: >"$here/.try") 2>/dev/null && rm -f "$here/.try"
}

if ! can_write; then
    folder=${ZERV_FOLDER:-${HOME:-/tmp}/.zerv-player}
    settle
fi
cd "$folder" || exit 1
program=./zerv-player
[ -e "$program" ] || program=$here/zerv-player

export GCONV_PATH="$lib/gconv" LOCPATH="$lib/locale"
export ALSA_CONFIG_DIR="$lib/alsa" ALSA_CONFIG_PATH="$lib/alsa/alsa.conf"
unset LD_LIBRARY_PATH LD_PRELOAD

# After an update the player starts itself anew, as this script: whoever started that one waits.
if [ -n "$ZERV_STARTED" ]; then
    exec "$lib/ld.so" --library-path "$lib" --argv0 "$self" "$program" "$@"
fi
export ZERV_STARTED=1

play() { # in the background, so that this script hears of signals
    "$lib/ld.so" --library-path "$lib" --argv0 "$self" "$program" "$@" 2>"$log" &
    player=$!
    trap 'kill -TERM $player 2>/dev/null' TERM INT HUP
    while
        wait $player
        status=$?
        kill -0 $player 2>/dev/null
    do
        :
    done
    trap - TERM INT HUP
}

play "$@"
# A library that cannot be opened would keep the player from starting for ever.
if [ $status != 0 ] && [ -e library.db ] && grep -q '^library_open falied' "$log"; then
    mv library.db library.db.damaged
    rm -f library.db-journal library.db-wal library.db-shm
    play "$@"
    echo "library.db could not be opened and is kept as library.db.damaged" >>"$log"
fi
# A player that was killed leaves the panel dark and the console silent.
"$lib/ld.so" --library-path "$lib" "$lib/zerv-console"
cat "$log" >&2
exit $status
