#!/usr/bin/env bash
# Makes the demo documents of this folder with tools independent of Sigilo: the generator of the
# classification test inputs (openssl smime/cms/ts, asn1crypto for the TSD, Python's email for
# the M7M, xmlsec1 for the XML signature), run into a scratch folder; then the demo subset is
# copied here under readable names. The private keys stay in the scratch folder.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
/usr/bin/python3 "$here/../tests/data/verify/gen_inputs.py" "$work" >/dev/null 2>&1
cp "$work/ca_cert.pem" "$here/demo_ca.pem"
cp "$work/doc.txt" "$here/documento.txt"
cp "$work/doc_der.p7m" "$here/documento.txt.p7m"
# CAdES envelopes (signingCertificateV2), PKCS#7 and CMS (signer named by key identifier).
openssl cms -sign -binary -nodetach -cades -in "$work/doc.txt" -signer "$work/signer_cert.pem" \
  -inkey "$work/signer_key.pem" -outform DER -out "$here/documento_cades.txt.p7m"
openssl cms -sign -binary -nodetach -cades -keyid -in "$work/doc.txt" \
  -signer "$work/signer_cert.pem" -inkey "$work/signer_key.pem" -outform DER \
  -out "$here/documento_cades_cms.txt.p7m"
cp "$work/doc.tsr" "$here/documento.txt.p7m.tsr"
cp "$work/doc.tst" "$here/documento.txt.p7m.tst"
cp "$work/doc.tsd" "$here/documento.txt.p7m.tsd"
cp "$work/doc.m7m" "$here/documento.m7m"
cp "$work/doc.pdf" "$here/documento.pdf"
cp "$work/doc_signed.xml" "$here/documento_firmato.xml"
echo "demo documents written to $here"
