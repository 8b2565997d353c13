#!/usr/bin/env bash
# Runs the crypto benchmarks and the openssl command line on the same machine, in the same run,
# and prints our figures next to openssl's with the ratio and the floor each must reach:
#   SHA-1 and SHA-256 on 64 MiB: 0.9 of `openssl dgst`; SHA-512: 0.7;
#   RSA-2048 checks through the whole token path: 0.5 of `openssl speed rsa2048` verify/s.
# Usage: bench/run_bench.sh [build-dir]   (the build must have -DSIGILO_BENCH=ON)
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
bench="$build/bench/bench_crypto"
[ -x "$bench" ] || { echo "no $bench: configure with -DSIGILO_BENCH=ON and build" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$bench" --benchmark_format=json --benchmark_out="$work/ours.json" \
  --benchmark_out_format=json >/dev/null

# openssl dgst over a 64 MiB file from the page cache; the best of three runs.
head -c $((64 << 20)) /dev/urandom >"$work/data.bin"
cat "$work/data.bin" >/dev/null
for alg in sha1 sha256 sha512; do
  best=0
  for _ in 1 2 3; do
    s=$(date +%s.%N); openssl dgst -$alg "$work/data.bin" >/dev/null; e=$(date +%s.%N)
    best=$(/usr/bin/python3 -c "print(max($best, 64 * 1048576 / ($e - $s)))")
  done
  echo "$alg $best" >>"$work/openssl.txt"
done
# For reference, openssl's digests in memory (no file reading), 16 KiB at a time.
for alg in sha1 sha256 sha512; do
  openssl speed -seconds 2 -bytes 16384 -evp $alg 2>/dev/null |
    awk -v a=$alg '$1 == a {sub(/k$/, "", $NF); print a "_mem", $NF * 1000}' >>"$work/openssl.txt"
done
openssl speed -seconds 3 rsa2048 2>/dev/null | awk '/^rsa 2048/ {print "rsa2048", $NF}' \
  >>"$work/openssl.txt"

/usr/bin/python3 - "$work/ours.json" "$work/openssl.txt" <<'PY'
import json, sys
ours = {b["name"].split("/")[0]: b for b in json.load(open(sys.argv[1]))["benchmarks"]}
theirs = dict(line.split() for line in open(sys.argv[2]))
rows = [("SHA-1 (64 MiB)", "BM_SHA1", "sha1", 0.9), ("SHA-256 (64 MiB)", "BM_SHA256", "sha256", 0.9),
        ("SHA-512 (64 MiB)", "BM_SHA512", "sha512", 0.7),
        ("SHA-1 via token", "BM_Token_SHA1", "sha1", 0.9),
        ("SHA-256 via token", "BM_Token_SHA256", "sha256", 0.9),
        ("SHA-512 via token", "BM_Token_SHA512", "sha512", 0.7),
        ("RSA-2048 verify/s", "BM_RSA2048_Verify", "rsa2048", 0.5)]
failed = 0
print("%-20s %14s %14s %7s %6s" % ("", "sigilo", "openssl", "ratio", "floor"))
for label, bench, key, floor in rows:
    b = ours[bench]
    value = b.get("bytes_per_second") or b.get("items_per_second")
    ref = float(theirs[key])
    unit = 1048576 if "bytes_per_second" in b else 1
    ratio = value / ref
    ok = ratio >= floor
    failed += not ok
    print("%-20s %14.1f %14.1f %7.2f %6.2f %s" % (label, value / unit, ref / unit, ratio, floor,
                                                 "ok" if ok else "BELOW"))
print("(MiB/s for digests, checks per second for RSA)")
print("For reference, against openssl's digests in memory (openssl speed -evp, 16 KiB blocks):")
for label, bench, key in [("SHA-1", "BM_SHA1", "sha1_mem"), ("SHA-256", "BM_SHA256", "sha256_mem"),
                          ("SHA-512", "BM_SHA512", "sha512_mem")]:
    if key in theirs:
        value = ours[bench]["bytes_per_second"]
        ref = float(theirs[key])
        print("%-20s %14.1f %14.1f %7.2f" % (label, value / 1048576, ref / 1048576, value / ref))
sys.exit(1 if failed else 0)
PY
