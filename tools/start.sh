#!/usr/bin/env bash
# Starts a built player: start.sh PLAYER_FOLDER DEMO_FOLDER [--record] [--library FOLDER] [FILES]
#   --record    the scripted device plays a few seconds and leaves pictures and sound in the folder
#               "shown" beside the player's
#   --library   becomes the music folder of the player's settings
#   FILES       are queued, and the last one plays; without FILES and folder the demo music does
# All paths are absolute. Without a display a terminal gets the address of a page, and a script the
# recording.
set -eu -o pipefail
player=$1
demo=$2
shift 2
record=
if [ "${1:-}" = --record ]; then
    record=1
    shift
fi
folder=
if [ "${1:-}" = --library ]; then
    folder=$2
    shift 2
fi
tools=$(dirname "$(readlink -f "$0")")
config=$player/config.txt

greeting=
if [ -n "$folder" ]; then
    what=$("$tools/set_library.py" "$config" "$folder")
    echo "The music folder is $folder." >&2
    case $what in
    new) greeting=language ;;
    changed | unscanned) greeting=library ;;
    esac
    [ $# = 0 ] || greeting= # files open the play screen
    [ -z "$greeting" ] || echo "The player offers to scan it: answer Yes." >&2
    echo "The row 更新媒体库 (update the media library) of the main menu scans it at any time." >&2
else
    "$tools/set_library.py" --unless-set "$config" "$demo" >/dev/null
    # Files that are dropped on the page lie in the library of this run, beside the demo music.
    export ZERV_WEB_UPLOADS=${ZERV_WEB_UPLOADS:-$demo/uploads}
    if [ $# = 0 ]; then
        for piece in "$demo"/*.{mp3,ogg,flac}; do
            [ -e "$piece" ] && set -- "$@" "$piece"
        done
    fi
fi

cd "$player"
export ZERV_FIRST_START=$greeting
display=${ZERV_DEVICE:-}${DISPLAY:-}${WAYLAND_DISPLAY:-}
[ -n "$display" ] || [ ! -w /dev/fb0 ] || display=/dev/fb0
if [ -z "$record$display" ] && [ -t 1 ] && [ -e zerv-device-web.so ]; then
    export ZERV_DEVICE=web
    display=web
fi
if [ -z "$record" ] && [ -n "$display" ]; then
    exec ./zerv-player "$@"
fi

out=$(readlink -f ..)/shown
mkdir -p "$out"
rm -f "$out"/*.png "$out"/sound.wav
picture() { printf 'advance 400\nscreenshot %s/%s.png\n' "$out" "$1"; }
{
    if [ $# -gt 0 ]; then
        printf 'advance 1000\nsettle\nadvance 3000\n'
        picture play
        echo "key back"
        picture main_menu
        echo "key select"
        picture current_playlist
    else
        [ -z "$greeting" ] || picture welcome
        [ "$greeting" != language ] || printf 'key select\nadvance 400\n'
        [ -z "$greeting" ] || printf 'key select\nadvance 400\nsettle 600000\n'
        picture main_menu
        printf 'key down\nkey down\nkey select\n'
        picture artists
    fi
    printf 'key back\nadvance 50\nquit\n'
} >"$out/script"
ZERV_DEVICE=virtual ZERV_VIRTUAL_SCRIPT="$out/script" ZERV_VIRTUAL_SOUND="$out/sound.wav" \
    ./zerv-player "$@" >"$out/replies.txt"
[ -n "$record" ] || printf "No display here. "
echo "The screens are $out/*.png, the sound is $out/sound.wav"
