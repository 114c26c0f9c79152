#!/usr/bin/env bash
# Fails when a file in a core folder includes a platform or GUI header, or when a lower subsystem
# includes app/. Core folders are src/<subsystem>/ and their subfolders, except the back-end
# subfolders named below (each builds its own library) and the programs (cli, desktop).
# Usage: check-includes.sh [SOURCE-ROOT]
set -euo pipefail
root="${1:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)}"
cd "$root/src"

find . \( -name '*.h' -o -name '*.cpp' -o -name '*.in' \) -print0 | sort -z |
  xargs -0 grep -H -E '^[[:space:]]*#[[:space:]]*include' |
  sed -E 's#^\./##; s#^([^:]*):[[:space:]]*\#[[:space:]]*include[[:space:]]*([<"][^>"]*[>"]).*#\1 \2#' |
  awk '
    BEGIN {
      backends = "/(pulse|whisper|pocketsphinx|engines|linux|x11|evdev|atspi|uinput|wayland)/"
      programs = "^(cli|desktop)/"
      lower = "^(accuracy|audio|base|cleanup|delivery|history|speech)/"
      # The standard library (no extension, lower case), ICU, nlohmann-json, libsndfile, soxr, and
      # pthread.h for naming worker threads.
      allowed = "^<([a-z_]+|unicode/[a-z0-9_]+\\.h|nlohmann/[a-z_]+\\.hpp|sndfile\\.h|soxr\\.h|pthread\\.h)>$"
    }
    {
      file = $1; header = $2; dir = file; sub(/[^\/]*$/, "", dir)
      if (dir ~ programs || ("/" dir) ~ backends) next
      if (header ~ /^</) {
        if (header !~ allowed) { print file ": platform header " header " in a core folder"; failures++ }
        next
      }
      target = header; gsub(/"/, "", target)
      if (("/" target) ~ backends || target ~ programs) {
        print file ": core code includes back-end or program header " target; failures++
      } else if (file ~ lower && target ~ /^app\//) {
        print file ": a lower subsystem includes " target; failures++
      }
    }
    END {
      if (failures > 0) { print failures " include(s) break the folder rules"; exit 1 }
      print "core folders include no platform header"
    }'
