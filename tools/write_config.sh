#!/bin/sh
# Prints settings that name a music folder as the library path: write_config.sh FOLDER
case $1 in *'&'* | *'<'*)
    echo "A settings file cannot carry & or < in a folder's name: $1" >&2
    exit 1
    ;;
esac
printf '<?xml version="1.0" encoding="UTF-8"?>\r\n\r\n<cfg version="0.1">\r\n\t<library_path>%s</library_path>\r\n</cfg>\r\n' "$1"
