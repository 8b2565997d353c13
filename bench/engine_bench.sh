#!/usr/bin/env bash
# The verification engine next to the openssl command line, all in one run on this machine:
#   - a 256 MiB attached CAdES envelope (openssl cms -sign -cades -binary -nodetach): sigilo
#     must take at most twice `openssl dgst -sha256` on the same file (reading and hashing it
#     once is the floor) and at most a third of `openssl cms -verify -binary -noverify`, with a
#     peak memory within the file size plus 64 MiB;
#   - 1,000 small envelopes in one sigilo run: at least 20 times faster than 1,000 runs of
#     `openssl cms -verify`.
# Usage: bench/engine_bench.sh [build-dir]   (a Release build: make bench)
set -euo pipefail
build=${1:-build}
sigilo="$(cd "$build" && pwd)/sigilo"
[ -x "$sigilo" ] || { echo "no $sigilo: build first" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

cat >ext.cnf <<'CNF'
[ca]
basicConstraints=critical,CA:true
keyUsage=critical,keyCertSign,cRLSign
subjectKeyIdentifier=hash
[ee]
basicConstraints=CA:false
keyUsage=critical,digitalSignature,nonRepudiation
subjectKeyIdentifier=hash
authorityKeyIdentifier=keyid
CNF
openssl req -new -newkey rsa:2048 -nodes -keyout ca.key -out ca.csr -subj "/CN=Bench CA" 2>/dev/null
openssl x509 -req -in ca.csr -signkey ca.key -out ca.pem -days 36500 -extfile ext.cnf \
  -extensions ca -set_serial 1 2>/dev/null
openssl req -new -newkey rsa:2048 -nodes -keyout ee.key -out ee.csr -subj "/CN=Bench" 2>/dev/null
openssl x509 -req -in ee.csr -CA ca.pem -CAkey ca.key -out ee.pem -days 36500 -extfile ext.cnf \
  -extensions ee -set_serial 2 2>/dev/null
mkdir ca
"$sigilo" -c ca --import-pem ca.pem

head -c $((256 << 20)) /dev/urandom >big.bin
openssl cms -sign -cades -binary -nodetach -in big.bin -signer ee.pem -inkey ee.key \
  -outform DER -out big.p7m
rm big.bin
cat big.p7m >/dev/null

# Wall seconds and peak KiB of one command, the best wall time of three runs.
measure() {
  local best="" peak=0
  for _ in 1 2 3; do
    /usr/bin/time -f "%e %M" -o t.txt "$@" >/dev/null 2>&1 || true
    read -r wall kib <t.txt
    if [ -z "$best" ] || awk "BEGIN{exit !($wall < $best)}"; then best=$wall; fi
    [ "$kib" -gt "$peak" ] && peak=$kib
  done
  echo "$best $peak"
}
read -r dgst_s dgst_k < <(measure openssl dgst -sha256 big.p7m)
read -r cms_s cms_k < <(measure openssl cms -verify -binary -noverify -inform DER -in big.p7m \
  -out /dev/null)
read -r ours_s ours_k < <(measure "$sigilo" -c ca -o report.xml big.p7m)
"$sigilo" -c ca -o report.xml big.p7m || true
grep -q "<status>OK</status>" report.xml || { echo "the big envelope was not verified OK" >&2; exit 1; }

# 1,000 small envelopes (copies of one: each is read, parsed and verified on its own).
echo "Documento breve per la misura." >small.txt
openssl cms -sign -cades -binary -nodetach -in small.txt -signer ee.pem -inkey ee.key \
  -outform DER -out small.p7m
mkdir many
for i in $(seq 1 1000); do cp small.p7m "many/$i.p7m"; done
start=$(date +%s.%N)
"$sigilo" -c ca -o many.xml many/*.p7m || true
end=$(date +%s.%N)
ours_many=$(awk "BEGIN{print $end - $start}")
[ "$(grep -c '<status>OK</status>' many.xml)" -eq 1000 ] || {
  echo "not every small envelope was verified OK" >&2; exit 1; }
start=$(date +%s.%N)
for i in $(seq 1 1000); do
  openssl cms -verify -binary -noverify -inform DER -in "many/$i.p7m" -out /dev/null 2>/dev/null
done
end=$(date +%s.%N)
theirs_many=$(awk "BEGIN{print $end - $start}")

size=$(stat -c %s big.p7m)
/usr/bin/python3 - "$size" "$dgst_s" "$dgst_k" "$cms_s" "$cms_k" "$ours_s" "$ours_k" \
  "$ours_many" "$theirs_many" <<'PY'
import sys
size = int(sys.argv[1])
dgst_s, dgst_k, cms_s, cms_k, ours_s, ours_k = map(float, sys.argv[2:8])
ours_many, theirs_many = float(sys.argv[8]), float(sys.argv[9])
mib = 1 << 20
print("256 MiB CAdES envelope            wall s   peak MiB")
print("  openssl dgst -sha256           %7.2f   %8.1f" % (dgst_s, dgst_k / 1024))
print("  openssl cms -verify            %7.2f   %8.1f" % (cms_s, cms_k / 1024))
print("  sigilo                         %7.2f   %8.1f" % (ours_s, ours_k / 1024))
print("1,000 small envelopes: sigilo one run %.2f s, openssl 1,000 runs %.2f s (%.1f x)"
      % (ours_many, theirs_many, theirs_many / ours_many))
checks = [("sigilo <= 2 x dgst", ours_s <= 2 * dgst_s),
          ("sigilo <= cms -verify / 3", ours_s <= cms_s / 3),
          ("peak <= file + 64 MiB", ours_k * 1024 <= size + 64 * mib),
          ("1,000 envelopes >= 20 x faster", theirs_many >= 20 * ours_many)]
failed = 0
for label, ok in checks:
    print("  %-32s %s" % (label, "ok" if ok else "FAILED"))
    failed += not ok
sys.exit(1 if failed else 0)
PY
