#!/usr/bin/env bash
# Installs every Debian package Murvelo needs. Idempotent: when everything is present it only
# asks dpkg, which takes a fraction of a second.
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
list="$here/debian-packages.txt"

mapfile -t wanted < <(sed -e 's/#.*//' -e 's/[[:space:]]//g' "$list" | grep -v '^$')

missing=()
for entry in "${wanted[@]}"; do
  # "package|command:name" is satisfied by the command alone: npm, for instance, may come with
  # a nodejs build from outside Debian that conflicts with Debian's own npm package.
  pkg="${entry%%|*}"
  if [[ "$entry" == *"|command:"* ]] && command -v "${entry##*|command:}" >/dev/null; then
    continue
  fi
  status=$(dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$pkg")
done

if ((${#missing[@]} == 0)); then
  exit 0
fi

sudo=""
if [[ $(id -u) -ne 0 ]]; then sudo="sudo"; fi

# Refresh the package lists when they are missing or older than a day.
lists=/var/lib/apt/lists
if ! compgen -G "$lists/*_Packages*" >/dev/null ||
  [[ -n "$(find "$lists" -maxdepth 1 -name '*_Packages*' -mmin +1440 -print -quit)" ]]; then
  $sudo apt-get update
fi

echo "setup: installing ${missing[*]}" >&2
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "${missing[@]}"
