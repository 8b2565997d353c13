#!/usr/bin/env bash
# PDF signatures: sigilo next to pdfsig (poppler-utils) on the same 100 MiB PDF with two
# signatures in two incremental revisions, in one run on this machine. The document is written
# by pikepdf (one page whose content stream holds 100 MiB), each signature is appended by the
# test generator tests/data/pdf/verify/make_signed.py and made by `openssl cms -sign -cades`
# under the engine test PKI. Both tools check the two signatures over their ranges; pdfsig with
# -nocert (no certificate path), sigilo with --no-crl.
# Goals: sigilo at most pdfsig's wall time; sigilo's peak memory within the file size plus
# 64 MiB. Prints the wall time (best of three) and the peak RSS (/usr/bin/time -v) of both.
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
content = pdf.make_stream(b"BT /F1 12 Tf 72 720 Td (Documento grande) Tj ET\n%" +
                          os.urandom(100 << 20).hex().encode()[:100 << 20])
pdf.pages.append(pikepdf.Page(pikepdf.Dictionary(Type=pikepdf.Name.Page,
                                                 MediaBox=[0, 0, 595, 842], Contents=content)))
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

# Wall seconds and peak KiB of one command: the best wall time of three runs, the largest peak.
measure() {
  local best="" peak=0
  for _ in 1 2 3; do
    /usr/bin/time -v -o t.txt "$@" >/dev/null 2>&1 || true
    wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {n = split($2, p, ":"); s = 0;
           for (i = 1; i <= n; i++) s = s * 60 + p[i]; print s}' t.txt)
    kib=$(awk -F': ' '/Maximum resident set size/ {print $2}' t.txt)
    if [ -z "$best" ] || awk "BEGIN{exit !($wall < $best)}"; then best=$wall; fi
    [ "$kib" -gt "$peak" ] && peak=$kib
  done
  echo "$best $peak"
}
read -r theirs_s theirs_k < <(measure pdfsig -nocert big.pdf)
read -r ours_s ours_k < <(measure "$sigilo" -c ca --no-crl -o report.xml big.pdf)
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
