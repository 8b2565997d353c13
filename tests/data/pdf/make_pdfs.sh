#!/usr/bin/env bash
# Makes the PDF fixtures with independent tools:
#   - openssl: the signer's key and certificate (valid to 2099) and its PKCS#12 file;
#   - pikepdf (qpdf): the unsigned base documents (make_base.py);
#   - @signpdf with its plain and pdf-lib placeholders (sign.js): signed files and incremental
#     updates; run "npm install" in a scratch folder with package.json and set NODE_PATH to its
#     node_modules;
#   - qpdf: the signed files rewritten with cross-reference streams and object streams;
#   - make_handmade.py: what no tool writes (LZW streams, TIFF predictors, broken chains).
# The generated files are committed; the tests need only these files (and pdfsig, optionally).
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
cd "$here"
mkdir -p work
export NODE_PATH="${NODE_PATH:-/tmp/pdfnpm/node_modules}"

if [ ! -f work/signer.p12 ]; then
  openssl req -x509 -newkey rsa:2048 -nodes -keyout work/signer.key -out work/signer.pem \
    -subj "/C=IT/O=Sigilo Test/CN=Firmatario PDF" -days 27000 \
    2>/dev/null
  openssl pkcs12 -export -inkey work/signer.key -in work/signer.pem -out work/signer.p12 \
    -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES -macalg sha1 \
    -passout pass:sigilo
fi

/usr/bin/python3 make_base.py "$here"
node sign.js "$here"

# qpdf exits with 3 when it only warned (the plain placeholder's tables are a little loose).
q() { qpdf --warning-exit-0 "$@"; }

# Rewritten by qpdf: the signatures' ranges no longer match, but the fields and dictionaries
# are the same objects, now in a cross-reference stream and (for the fields) object streams.
q --object-streams=generate signed-twice.pdf signed-twice-objstm.pdf
q --object-streams=generate --compress-streams=n --decode-level=none signed-plain.pdf \
  signed-objstm-plainstreams.pdf
q --object-streams=disable --qdf signed-plain.pdf signed-qdf.pdf
# And back from streams to a classic table.
q --object-streams=disable signed-twice-objstm.pdf signed-twice-classic.pdf

/usr/bin/python3 make_handmade.py "$here"
rm -f work/signer.key work/signer.p12
ls -l *.pdf
