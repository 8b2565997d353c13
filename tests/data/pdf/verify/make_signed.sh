#!/usr/bin/env bash
# Makes the signed PDFs of this folder with independent tools: make_signed.py (pikepdf, openssl
# cms/ts/pkeyutl, python cryptography, asn1crypto) and sign_signpdf.js (@signpdf from npm: run
# "npm install" with ../package.json in a scratch folder and set NODE_PATH to its node_modules).
# The signers are those of tests/data/engine/pki. The generated files are committed.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
pki="$here/../../engine/pki"
export NODE_PATH="${NODE_PATH:-/tmp/pdfnpm/node_modules}"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for n in good second revoked; do
  openssl pkcs12 -export -inkey "$pki/$n.key" -in "$pki/$n.pem" -out "$work/$n.p12" \
    -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES -macalg sha1 -passout pass:sigilo
done
/usr/bin/python3 "$here/make_signed.py" "$here"
node "$here/sign_signpdf.js" "$here/../base.pdf" "$work" "$here"
ls -l "$here"/*.pdf
