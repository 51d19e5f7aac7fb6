#!/usr/bin/env bash
# Starts a built player: start.sh PLAYER_FOLDER DEMO_FOLDER [--library FOLDER] [FILES]
#   --library   becomes the music folder of the player's settings
#   FILES       are queued, and the last one plays; without FILES and folder the demo music does
# All paths are absolute. Without a display the scripted device plays a few seconds and leaves
# pictures and sound in the folder "shown" beside the player's.
set -eu -o pipefail
player=$1
demo=$2
shift 2
folder=
if [ "${1:-}" = --library ]; then
    folder=$2
    shift 2
fi
tools=$(dirname "$(readlink -f "$0")")
config=$player/config.txt

update_row="更新媒体库 (update the media library) in the main menu scans it again"
greeting=
if [ -n "$folder" ]; then
    what=$("$tools/set_library.py" "$config" "$folder")
    case $what in
    new) greeting=language ;;
    *) [ "$what" = same ] && [ -e "$player/library.db" ] || greeting=library ;;
    esac
    echo "The music folder is $folder." >&2
    if [ -n "$greeting" ]; then
        echo "The player offers to scan it now: answer Yes. Later, the row $update_row." >&2
    else
        echo "It was scanned before; the row $update_row." >&2
    fi
else
    what=$("$tools/set_library.py" --unless-set "$config" "$demo")
    [ "$what" = new ] && greeting=language
    if [ $# = 0 ]; then
        for piece in "$demo"/*.{mp3,ogg,flac}; do
            [ -e "$piece" ] && set -- "$@" "$piece"
        done
    fi
fi

cd "$player"
export ZERV_FIRST_START=$greeting
if [ -n "${ZERV_DEVICE:-}" ] || [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] || [ -w /dev/fb0 ]; then
    exec ./zerv-player "$@"
fi

out=$(readlink -f ..)/shown
mkdir -p "$out"
rm -f "$out"/*.png "$out"/sound.wav
{
    echo "advance 1000"
    if [ $# -gt 0 ]; then
        printf 'settle\nadvance 3000\nscreenshot %s/play.png\n' "$out"
        printf 'key back\nadvance 400\n'
    fi
    if [ -n "$greeting" ]; then
        printf 'screenshot %s/welcome.png\n' "$out"
        [ "$greeting" = library ] || printf 'key select\nadvance 400\n'
        [ -z "$folder" ] || printf 'key select\nadvance 400\nsettle 600000\nadvance 400\n'
        [ -n "$folder" ] || printf 'key down\nkey select\nadvance 400\n'
    fi
    printf 'screenshot %s/main_menu.png\n' "$out"
    [ $# = 0 ] || printf 'key select\nadvance 400\nscreenshot %s/current_playlist.png\n' "$out"
    [ $# -gt 0 ] || printf 'key down\nkey down\nkey select\nadvance 400\nscreenshot %s/artists.png\n' "$out"
    printf 'key back\nadvance 50\nquit\n'
} >"$out/script"
ZERV_DEVICE=virtual ZERV_VIRTUAL_SCRIPT="$out/script" ZERV_VIRTUAL_SOUND="$out/sound.wav" \
    ./zerv-player "$@" >"$out/replies.txt"
echo "No display here. The screens are $out/*.png, the sound is $out/sound.wav"
