#!/usr/bin/env bash
# Sets up, builds and starts Murvelo. With a display ($DISPLAY or $WAYLAND_DISPLAY) it starts the
# desktop program `murvelo`: a tray icon, and the talk key (Right Alt) dictates at the cursor.
# Without one it dictates a recorded human clip ("Go forward ten meters", from Debian's
# pocketsphinx-testdata) through the whole program: the clip plays as the microphone at its real
# pace and the delivered text is printed (whisper when a model is installed, else pocketsphinx).
# Extra arguments go to `murvelo-cli dictate` then.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/scripts/setup.sh"

if [[ -n "${DISPLAY:-}" || -n "${WAYLAND_DISPLAY:-}" ]]; then
  bash "$root/scripts/build.sh" release murvelo murvelo-cli >/dev/null
  exec "$root/build/release/src/desktop/murvelo"
fi

bash "$root/scripts/build.sh" release murvelo-cli >/dev/null
cli="$root/build/release/src/murvelo-cli"
clip="${MURVELO_SAMPLE_CLIP:-/usr/share/pocketsphinx/test/data/goforward.raw}"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
if [[ "$clip" == *.raw ]]; then
  # The test data's raw clips are 16 kHz, 16-bit, mono.
  sox -q -t raw -r 16000 -e signed -b 16 -c 1 "$clip" "$work/sample.wav"
else
  sox -q "$clip" -r 16000 -c 1 -b 16 "$work/sample.wav"
fi
echo "Recorded sample: $(basename "$clip")" >&2
"$cli" dictate --wav "$work/sample.wav" --realtime "$@"
