#!/bin/sh
# PEM and DER files written by the openssl CLI, for the PEM readers. The output is committed.
set -e
cd "$(dirname "$0")"
tmp=$(mktemp -d)
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$tmp/a.key" -subj "/CN=Sigilo PEM A" \
  -days 20000 -out pem_cert_a.pem 2>/dev/null
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$tmp/b.key" -subj "/CN=Sigilo PEM B" \
  -days 20000 -out pem_cert_b.pem 2>/dev/null
openssl x509 -in pem_cert_a.pem -outform DER -out pem_cert_a.der
openssl x509 -in pem_cert_b.pem -outform DER -out pem_cert_b.der
cat pem_cert_a.pem pem_cert_b.pem > pem_bundle.pem
# The same certificate as bare base64 text, without armour lines.
grep -v -- '-----' pem_cert_a.pem > pem_cert_a.b64
rm -rf "$tmp"
