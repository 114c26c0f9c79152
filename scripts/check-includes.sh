#!/usr/bin/env bash
# Fails when a file in a core folder includes a platform or GUI header, or when a lower subsystem
# includes app/. Core folders are src/<subsystem>/ and their subfolders, except the back-end
# subfolders named below (each builds its own library) and the programs (cli, desktop).
# Usage: check-includes.sh [SOURCE-ROOT]
set -euo pipefail
root="${1:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)}"
cd "$root/src"

backends='pulse|whisper|pocketsphinx|engines|linux|x11|evdev|atspi|uinput|wayland'
programs='cli|desktop'
lower='accuracy|audio|base|cleanup|delivery|history|speech'
# The standard library (no extension, lower case), ICU, nlohmann-json, libsndfile, soxr, and
# pthread.h for naming worker threads.
allowed='^<([a-z_]+|unicode/[a-z0-9_]+\.h|nlohmann/[a-z_]+\.hpp|sndfile\.h|soxr\.h|pthread\.h)>$'

failures=0
while IFS= read -r file; do
  dir="${file%/*}"
  [[ "$dir/" =~ ^($programs)/ ]] && continue
  [[ "/$dir/" =~ /($backends)/ ]] && continue
  while IFS= read -r line; do
    header="$(sed -E 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*([<"][^>"]*[>"]).*/\1/' <<<"$line")"
    if [[ "$header" == \<* ]]; then
      if ! [[ "$header" =~ $allowed ]]; then
        echo "$file: platform header $header in a core folder"
        failures=$((failures + 1))
      fi
    else
      target="${header//\"/}"
      if [[ "/$target" =~ /($backends)/ || "$target" =~ ^($programs)/ ]]; then
        echo "$file: core code includes back-end or program header $target"
        failures=$((failures + 1))
      elif [[ "$file" =~ ^($lower)/ && "$target" == app/* ]]; then
        echo "$file: a lower subsystem includes $target"
        failures=$((failures + 1))
      fi
    fi
  done < <(grep -E '^[[:space:]]*#[[:space:]]*include' "$file" || true)
done < <(find . -path ./CMakeLists.txt -prune -o \( -name '*.h' -o -name '*.cpp' -o -name '*.in' \) -print | sed 's#^\./##' | sort)

if ((failures > 0)); then
  echo "$failures include(s) break the folder rules"
  exit 1
fi
echo "core folders include no platform header"
