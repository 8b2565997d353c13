#!/usr/bin/env bash
# PDF signatures: sigilo next to pdfsig (poppler-utils) on the same 100 MiB PDF with two
# signatures in two incremental revisions, in one run on this machine. The document is written
# by pikepdf (one page with a 100 MiB image), each signature is appended by the
# test generator tests/data/pdf/verify/make_signed.py and made by `openssl cms -sign -cades`
# under the engine test PKI. Both tools check the two signatures over their ranges; pdfsig with
# -nocert (no certificate path), sigilo with --no-crl.
# Goals: sigilo at most pdfsig's wall time; sigilo's peak memory within the file size plus
# 64 MiB. Prints the wall time (best of three rounds) and the peak RSS (/usr/bin/time -v) of
# both.
# Usage: bench/pdf_bench.sh [build-dir]   (a Release build: make bench)
set -euo pipefail
build=${1:-build}
root=$(cd "$(dirname "$0")/.." && pwd)
sigilo="$(cd "$build" && pwd)/sigilo"
[ -x "$sigilo" ] || { echo "no $sigilo: build first" >&2; exit 2; }
command -v pdfsig >/dev/null || { echo "pdfsig is not installed (poppler-utils)" >&2; exit 2; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

/usr/bin/python3 - "$root/tests/data/pdf/verify" big.pdf <<'PY'
import io, os, sys
import pikepdf
sys.path.insert(0, sys.argv[1])
import make_signed
pdf = pikepdf.new()
# A scanned page: one 100 MiB image whose bytes stand for its compressed data (random bytes,
# as compressed data looks), drawn by a short content stream.
image = pdf.make_stream(os.urandom(100 << 20))
image.Type = pikepdf.Name.XObject
image.Subtype = pikepdf.Name.Image
image.Width, image.Height, image.BitsPerComponent = 4096, 4096, 8
image.ColorSpace = pikepdf.Name.DeviceRGB
image.Filter = pikepdf.Name.DCTDecode
content = pdf.make_stream(b"q 595 0 0 842 0 0 cm /Im0 Do Q")
pdf.pages.append(pikepdf.Page(pikepdf.Dictionary(
    Type=pikepdf.Name.Page, MediaBox=[0, 0, 595, 842], Contents=content,
    Resources=pikepdf.Dictionary(XObject=pikepdf.Dictionary(Im0=image)))))
out = io.BytesIO()
pdf.save(out, object_stream_mode=pikepdf.ObjectStreamMode.disable, compress_streams=False)
data = make_signed.append_signature(out.getvalue(), "ETSI.CAdES.detached",
                                    make_signed.cades("good"), "Prima firma")
data = make_signed.append_signature(data, "ETSI.CAdES.detached",
                                    make_signed.cades("second"), "Seconda firma")
open(sys.argv[2], "wb").write(data)
PY
mkdir ca
"$sigilo" -c ca --import-pem "$root/tests/data/engine/pki/root.pem" >/dev/null
cat big.pdf >/dev/null

# Wall seconds and peak KiB of one run of a command, from /usr/bin/time -v.
once() {
  /usr/bin/time -v -o t.txt "$@" >/dev/null 2>&1 || true
  awk -F': ' '/Elapsed \(wall clock\)/ {n = split($2, p, ":"); s = 0;
       for (i = 1; i <= n; i++) s = s * 60 + p[i]; w = s}
       /Maximum resident set size/ {k = $2} END {print w, k}' t.txt
}
# Three rounds, the two tools one after the other in each, so that a change in the machine's
# load falls on both: the best wall time and the largest peak of each.
theirs_s="" theirs_k=0 ours_s="" ours_k=0
for _ in 1 2 3; do
  read -r w k < <(once pdfsig -nocert big.pdf)
  if [ -z "$theirs_s" ] || awk "BEGIN{exit !($w < $theirs_s)}"; then theirs_s=$w; fi
  [ "$k" -gt "$theirs_k" ] && theirs_k=$k
  read -r w k < <(once "$sigilo" -c ca --no-crl -o report.xml big.pdf)
  if [ -z "$ours_s" ] || awk "BEGIN{exit !($w < $ours_s)}"; then ours_s=$w; fi
  [ "$k" -gt "$ours_k" ] && ours_k=$k
done
pdfsig -nocert big.pdf >pdfsig.txt 2>&1 || true
[ "$(grep -c 'Signature is Valid' pdfsig.txt)" -eq 2 ] || {
  echo "pdfsig did not find two valid signatures" >&2; cat pdfsig.txt >&2; exit 1; }
"$sigilo" -c ca --no-crl -o report.xml big.pdf || true
[ "$(grep -c '<status>OK</status>' report.xml)" -eq 2 ] || {
  echo "sigilo did not verify two signatures OK" >&2; exit 1; }

size=$(stat -c %s big.pdf)
/usr/bin/python3 - "$size" "$theirs_s" "$theirs_k" "$ours_s" "$ours_k" <<'PY'
import sys
size = int(sys.argv[1])
theirs_s, theirs_k, ours_s, ours_k = map(float, sys.argv[2:])
mib = 1 << 20
print("%.1f MiB PDF, two signatures      wall s   peak MiB" % (size / mib))
print("  pdfsig -nocert                 %7.2f   %8.1f" % (theirs_s, theirs_k / 1024))
print("  sigilo --no-crl                %7.2f   %8.1f" % (ours_s, ours_k / 1024))
checks = [("sigilo <= pdfsig wall time", ours_s <= theirs_s),
          ("peak <= file + 64 MiB", ours_k * 1024 <= size + 64 * mib)]
failed = 0
for label, ok in checks:
    print("  %-32s %s" % (label, "ok" if ok else "NOT MET"))
    failed += not ok
sys.exit(1 if failed else 0)
PY
