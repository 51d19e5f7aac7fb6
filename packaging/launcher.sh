#!/bin/sh
# zerv-player: the installed player, in a folder of the user's own. Settings, library, playlist and
# the user's own skins live there; fonts and the program's skins are links to where they are installed.
set -eu
prefix=$(dirname "$(dirname "$(readlink -f "$0")")")
program=$prefix/lib/zerv-player
shared=$prefix/share/zerv-player
folder=${XDG_DATA_HOME:-$HOME/.local/share}/zerv-player

# link TARGET NAME: unless something of the user's has that name.
link() {
    if [ -L "$2" ] || [ ! -e "$2" ]; then
        ln -sfn "$1" "$2"
    fi
}

# As text of an XML element.
escape() {
    printf '%s' "$1" | sed 's/&/\&amp;/g; s/</\&lt;/g; s/>/\&gt;/g'
}

# The desktop's own; where none is told, or its tool fails, the usual one.
music_folder() {
    music=
    if command -v xdg-user-dir >/dev/null 2>&1; then
        music=$(xdg-user-dir MUSIC 2>/dev/null) || music=
    fi
    case $music in "" | "$HOME" | "$HOME"/) music=$HOME/Music ;; esac
    printf '%s' "$music"
}

mkdir -p "$folder/skins"
for each in "$shared"/*.ttf "$shared"/fonts "$shared"/icon.png; do
    [ ! -e "$each" ] || link "$each" "$folder/${each##*/}"
done
for each in "$shared"/skins/*.zip; do
    [ ! -e "$each" ] || link "$each" "$folder/skins/${each##*/}"
done
# What an upgrade took away leaves no link behind.
find "$folder" "$folder/skins" -maxdepth 1 -type l ! -exec test -e {} \; \
    -lname "$shared/*" -exec rm -f {} +

if [ ! -e "$folder/config.txt" ]; then
    new=$folder/config.txt.first
    printf '<?xml version="1.0" encoding="UTF-8"?>\n<cfg version="0.1">\n\t<library_path>%s</library_path>\n</cfg>\n' \
        "$(escape "$(music_folder)")" >"$new"
    mv "$new" "$folder/config.txt"
    export ZERV_FIRST_START=language
fi

# The player works in its folder: files are told with their whole path.
next=word
count=$#
while [ "$count" -gt 0 ]; do
    word=$1
    shift
    count=$((count - 1))
    case $next:$word in
    word:--) next=file ;;
    word:-c | word:--config) next=value ;;
    word:-*) ;;
    value:*) next=word ;;
    *:/*) ;;
    *) [ ! -e "$PWD/$word" ] || word=$PWD/$word ;;
    esac
    set -- "$@" "$word"
done

cd "$folder"
exec "$program/zerv-player" "$@"
