#!/usr/bin/env bash
# Sets up, builds and starts Murvelo. Until the desktop program lands this runs the command-line
# tool's demo, which loads the settings and history as the program does and scores a sample.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
bash "$root/scripts/setup.sh"
bash "$root/scripts/build.sh" release murvelo-cli >/dev/null
exec "$root/build/release/src/murvelo-cli" demo "$@"
