#!/usr/bin/env bash
# Peak memory of reading a 256 MiB attached envelope made by `openssl cms -sign -nodetach`:
# the no-copy reader must stay near one file size (the file in memory, the content left in
# place), while the copying reader needs two. Prints both figures and fails if the no-copy peak
# exceeds the file size plus 32 MiB.
# Usage: bench/cms_nocopy.sh [build-dir]   (the build must have -DSIGILO_BENCH=ON)
set -euo pipefail
build=${1:-build}
reader="$build/bench/cms_read"
[ -x "$reader" ] || { echo "no $reader: configure with -DSIGILO_BENCH=ON and build" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key.pem" -out "$work/cert.pem" \
  -subj "/CN=Sigilo bench" -days 36500 2>/dev/null
head -c $((256 << 20)) /dev/urandom >"$work/big.bin"
openssl cms -sign -binary -nodetach -outform DER -in "$work/big.bin" -signer "$work/cert.pem" \
  -inkey "$work/key.pem" -out "$work/big.p7m"
rm "$work/big.bin"
size=$(stat -c %s "$work/big.p7m")

peak() {  # max resident set in KiB of the reader run with the given arguments
  /usr/bin/time -f %M "$reader" "$@" 2>"$work/time.txt" >"$work/out.txt"
  cat "$work/out.txt" >&2
  tail -1 "$work/time.txt"
}
nocopy=$(peak "$work/big.p7m")
copying=$(peak --copy "$work/big.p7m")
/usr/bin/python3 - "$size" "$nocopy" "$copying" <<'PY'
import sys
size, nocopy, copying = int(sys.argv[1]), int(sys.argv[2]) * 1024, int(sys.argv[3]) * 1024
mib = 1 << 20
print("envelope        %8.1f MiB" % (size / mib))
print("no-copy reader  %8.1f MiB peak  (%.2f x the file)" % (nocopy / mib, nocopy / size))
print("copying reader  %8.1f MiB peak  (%.2f x the file)" % (copying / mib, copying / size))
limit = size + 32 * mib
print("no-copy limit   %8.1f MiB: %s" % (limit / mib, "ok" if nocopy <= limit else "FAILED"))
sys.exit(0 if nocopy <= limit else 1)
PY
