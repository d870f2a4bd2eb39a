#!/bin/sh
# Switches VELA back to normal logging for the current user.
set -eu

marker="$HOME/Library/Application Support/Quillmark/VELA/.debug.ini"

if [ -e "$marker" ]; then
    rm -f "$marker"
    echo "VELA debug logging disabled: removed \"$marker\"."
else
    echo "VELA debug logging was not enabled: \"$marker\" does not exist."
fi
