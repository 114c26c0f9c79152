#!/usr/bin/env bash
# Builds the Debian package build/package/murvelo_<version>_amd64.deb from the release build.
#   scripts/package.sh            set up, build, package
#   scripts/package.sh --check    also list and check the package's contents and its desktop entry;
#                                 as root, with no murvelo package installed yet, install it with
#                                 apt, run both programs and whisper from the installed files, and
#                                 remove it again
# --build-dir DIR packages an existing build (no setup, no build): the test suite uses it.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
check=0
build=""
while (($#)); do
  case "$1" in
    --check) check=1 ;;
    --build-dir) build="$2"; shift ;;
    *) echo "usage: scripts/package.sh [--check] [--build-dir DIR]" >&2; exit 2 ;;
  esac
  shift
done
if [[ -z "$build" ]]; then
  bash "$root/scripts/setup.sh"
  bash "$root/scripts/build.sh" release >/dev/null
  build="$root/build/release"
fi
out="$build/package"
rm -rf "$out"
mkdir -p "$out"
(cd "$build" && cpack -G DEB -B "$out" >"$out/cpack.log" 2>&1) || { cat "$out/cpack.log" >&2; exit 1; }
deb=$(find "$out" -maxdepth 1 -name 'murvelo_*_amd64.deb' -print -quit)
[[ -n "$deb" ]] || { echo "package: no murvelo_*_amd64.deb in $out" >&2; exit 1; }
echo "$deb"
((check)) || exit 0

fail() { echo "package check: $*" >&2; exit 1; }
contents="$out/contents.txt"
dpkg-deb -c "$deb" | awk '{print $6}' | sed 's|^\./|/|' >"$contents"
for path in /usr/bin/murvelo /usr/bin/murvelo-cli /usr/lib/murvelo/libwhisper.so.1 \
  /usr/lib/murvelo/libggml.so.0 /usr/lib/murvelo/libggml-base.so.0 /usr/lib/murvelo/libggml-cpu-x64.so \
  /usr/lib/murvelo/libggml-cpu-haswell.so /usr/share/applications/com.murvelo.Murvelo.desktop \
  /usr/share/icons/hicolor/48x48/apps/com.murvelo.Murvelo.png \
  /usr/share/icons/hicolor/256x256/apps/com.murvelo.Murvelo.png /usr/share/murvelo/vocab-pack.json \
  /usr/share/murvelo/vocab-pack-developer.json; do
  grep -qx "$path" "$contents" || fail "$path is missing"
done
# Only the product: no test programs, benchmarks or build-tree files.
if grep -E 'test|bench|fuzz|/work/|murvelo-icon' "$contents"; then fail "unexpected files above"; fi
depends=$(dpkg-deb -f "$deb" Depends)
for dependency in libc6 libqt6widgets6 libpulse0 libpocketsphinx3 pocketsphinx-en-us; do
  [[ "$depends" == *"$dependency"* ]] || fail "Depends lacks $dependency: $depends"
done
unpacked="$out/unpacked"
dpkg-deb -x "$deb" "$unpacked"
desktop-file-validate "$unpacked/usr/share/applications/com.murvelo.Murvelo.desktop" ||
  fail "the desktop entry does not validate"
for program in murvelo murvelo-cli; do
  runpath=$(readelf -d "$unpacked/usr/bin/$program" | sed -n 's/.*R\(UN\)\?PATH.*\[\(.*\)\]/\2/p')
  [[ "$runpath" == '$ORIGIN/../lib/murvelo' ]] || fail "$program looks for libraries in '$runpath'"
done
echo "package check: $(wc -l <"$contents") entries, Depends: $depends"

if [[ $(id -u) -ne 0 ]] || ! command -v apt-get >/dev/null; then
  echo "package check: not root, so not installed"
  exit 0
fi
if dpkg-query -W -f='${Status}' murvelo 2>/dev/null | grep -q "install ok installed"; then
  echo "package check: a murvelo package is installed already; left alone"
  exit 0
fi
DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$deb" >"$out/install.log" 2>&1 ||
  { cat "$out/install.log" >&2; fail "apt could not install $deb"; }
trap 'DEBIAN_FRONTEND=noninteractive apt-get remove -y murvelo >/dev/null 2>&1 || true' EXIT
/usr/bin/murvelo-cli --help >/dev/null || fail "murvelo-cli --help failed"
version=$(/usr/bin/murvelo --version) || fail "murvelo --version failed"
[[ "$version" == "murvelo $(dpkg-deb -f "$deb" Version)"* ]] || fail "murvelo --version says '$version'"
# whisper from the installed files alone: a synthetic model, a second of silence.
scratch=$(mktemp -d)
"$build/tools/murvelo-make-test-model" --arch tiny.en "$scratch/ggml-tiny.en.bin" >/dev/null
sox -q -n -r 16000 -c 1 -b 16 "$scratch/silence.wav" trim 0 1
MURVELO_LOG_LEVEL=info HOME="$scratch" /usr/bin/murvelo-cli transcribe "$scratch/silence.wav" \
  --engine whisper --model "$scratch/ggml-tiny.en.bin" >"$scratch/out.txt" 2>"$scratch/log.txt" ||
  { cat "$scratch/log.txt" >&2; fail "whisper did not run from the installed files"; }
grep -q "whisper model loaded.*CPU modules from /usr/lib/murvelo" "$scratch/log.txt" || { cat "$scratch/log.txt" >&2; fail "no whisper model loaded"; }
rm -rf "$scratch"
DEBIAN_FRONTEND=noninteractive apt-get remove -y murvelo >"$out/remove.log" 2>&1 || fail "apt could not remove murvelo"
trap - EXIT
for path in /usr/bin/murvelo /usr/bin/murvelo-cli /usr/lib/murvelo; do
  [[ ! -e "$path" ]] || fail "$path is left after removal"
done
echo "package check: installed, ran murvelo --version, murvelo-cli --help and whisper, removed cleanly"
