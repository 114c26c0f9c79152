#!/usr/bin/env bash
# Sets up, builds and starts Murvelo. Until the desktop program lands it dictates a spoken sample
# through the whole program, with or without a display: espeak-ng says a sentence, the recording
# plays as the microphone, and the delivered text is printed (whisper when a model is installed,
# else pocketsphinx); extra arguments go to `murvelo-cli dictate`.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh" release murvelo-cli >/dev/null
cli="$root/build/release/src/murvelo-cli"

sentence="${MURVELO_SAMPLE_TEXT:-Please send the quarterly report to Maria before Friday.}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
espeak-ng -v en-us -s 150 -w "$work/spoken.wav" "$sentence"
sox -q "$work/spoken.wav" -r 16000 -c 1 -b 16 "$work/sample.wav"
echo "Spoken sample: \"$sentence\"" >&2
"$cli" dictate --wav "$work/sample.wav" --realtime "$@"
