#!/usr/bin/env bash
# Fetches the whisper.cpp source once into a cache directory (default build/third_party): the
# npm package nodejs-whisper, pinned by version and by its sha512 integrity, carries whisper.cpp
# 1.9.1 in its folder cpp/whisper.cpp. Our patches (third_party/whisper.cpp/*.patch) are applied
# to it; the folder's name says which set, so a changed set is fetched beside the old one.
# Prints the source directory on stdout.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cache="${1:-$root/build/third_party}"

package="nodejs-whisper@0.3.1"
tarball="nodejs-whisper-0.3.1.tgz"
integrity="sha512-ceoilUVraRuR5FnNyXpGQT2auAR48Oc3AQBEmkXnVpSn9iN6yVRzQBFCqVTGWbk6Wdi95NhvwXNzFvuR7erLWw=="
patch_set="p1"
source_dir="$cache/whisper.cpp-1.9.1-$patch_set"

if [[ -f "$source_dir/.murvelo-fetched" ]]; then
  echo "$source_dir"
  exit 0
fi

mkdir -p "$cache/download"
if [[ ! -f "$cache/download/$tarball" ]]; then
  command -v npm >/dev/null || { echo "fetch-whisper: npm is missing (run scripts/setup.sh)" >&2; exit 1; }
  echo "fetch-whisper: npm pack $package" >&2
  (cd "$cache/download" && npm pack --silent "$package" >/dev/null)
fi

actual="sha512-$(openssl dgst -sha512 -binary "$cache/download/$tarball" | base64 -w0)"
if [[ "$actual" != "$integrity" ]]; then
  echo "fetch-whisper: integrity mismatch for $tarball (got $actual)" >&2
  rm -f "$cache/download/$tarball"
  exit 1
fi

staging="$(mktemp -d "$cache/extract.XXXXXX")"
trap 'rm -rf "$staging"' EXIT
tar -xzf "$cache/download/$tarball" -C "$staging" package/cpp/whisper.cpp
for change in "$root"/third_party/whisper.cpp/*.patch; do
  patch --quiet --forward -p1 -d "$staging/package/cpp/whisper.cpp" <"$change" ||
    { echo "fetch-whisper: $(basename "$change") does not apply" >&2; exit 1; }
done
rm -rf "$source_dir"
mv "$staging/package/cpp/whisper.cpp" "$source_dir"
touch "$source_dir/.murvelo-fetched"
echo "$source_dir"
