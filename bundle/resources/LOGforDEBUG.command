#!/bin/sh
# Switches VELA to debug logging for the current user: the marker file selects it.
set -eu

dir="$HOME/Library/Application Support/Quillmark/VELA"
marker="$dir/.debug.ini"

mkdir -p "$dir"
: > "$marker"
echo "VELA debug logging enabled: created \"$marker\"."
