#!/usr/bin/env bash
# XML signatures, sigilo next to `xmlsec1 --verify` in one run on this machine: a XAdES-BES
# enveloping signature over a 10 MiB document (the document in an Object, the signed properties
# with the signing time and the certificate digest, KeyInfo covered too), signed by xmlsec1 from
# a template, verified by both against the same test root. sigilo must take at most the wall
# time of xmlsec1. Prints wall time and peak memory of each.
# Usage: bench/xml_bench.sh [build-dir]   (a Release build: make bench)
set -euo pipefail
build=${1:-build}
sigilo="$(cd "$build" && pwd)/sigilo"
[ -x "$sigilo" ] || { echo "no $sigilo: build first" >&2; exit 2; }
command -v xmlsec1 >/dev/null || { echo "xmlsec1 is needed" >&2; exit 2; }
work=$(mktemp -d)
[ -n "${XML_BENCH_KEEP:-}" ] || trap 'rm -rf "$work"' EXIT
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

# 10 MiB of text in line elements, inside the Object the first reference names. (One text
# node of that size would be refused by the parser's limit on a single node.)
digest=$(openssl x509 -in ee.pem -outform DER | openssl dgst -sha256 -binary | base64 -w0)
{
  printf '<?xml version="1.0" encoding="UTF-8"?>\n'
  printf '<ds:Signature xmlns:ds="http://www.w3.org/2000/09/xmldsig#" Id="firma">'
  printf '<ds:SignedInfo><ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>'
  printf '<ds:SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/>'
  for ref in documento chiave proprieta; do
    type=""
    [ $ref = proprieta ] && type=' Type="http://uri.etsi.org/01903#SignedProperties"'
    printf '<ds:Reference URI="#%s"%s><ds:Transforms><ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms>' "$ref" "$type"
    printf '<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/></ds:Reference>'
  done
  printf '</ds:SignedInfo><ds:SignatureValue/>'
  printf '<ds:KeyInfo Id="chiave"><ds:X509Data><ds:X509Certificate/></ds:X509Data></ds:KeyInfo>'
  printf '<ds:Object Id="documento"><documento xmlns="urn:sigilo:misura">'
  (yes '<riga>Riga del documento di prova per la misura della verifica di firme XML.</riga>' ||
    true) | head -n $(((10 << 20) / 83))
  printf '</documento>'
  printf '</ds:Object><ds:Object><xades:QualifyingProperties xmlns:xades="http://uri.etsi.org/01903/v1.3.2#" Target="#firma">'
  printf '<xades:SignedProperties Id="proprieta"><xades:SignedSignatureProperties>'
  printf '<xades:SigningTime>2024-01-01T00:00:00Z</xades:SigningTime><xades:SigningCertificate><xades:Cert>'
  printf '<xades:CertDigest><ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>'
  printf '<ds:DigestValue>%s</ds:DigestValue></xades:CertDigest>' "$digest"
  printf '<xades:IssuerSerial><ds:X509IssuerName>CN=Bench CA</ds:X509IssuerName>'
  printf '<ds:X509SerialNumber>2</ds:X509SerialNumber></xades:IssuerSerial></xades:Cert>'
  printf '</xades:SigningCertificate></xades:SignedSignatureProperties></xades:SignedProperties>'
  printf '</xades:QualifyingProperties></ds:Object></ds:Signature>\n'
} >template.xml
ids=(--id-attr:Id http://www.w3.org/2000/09/xmldsig#:Object
     --id-attr:Id http://www.w3.org/2000/09/xmldsig#:KeyInfo
     --id-attr:Id http://uri.etsi.org/01903/v1.3.2#:SignedProperties)
xmlsec1 --sign "${ids[@]}" --privkey-pem ee.key,ee.pem --output signed.xml template.xml
printf 'document: %d bytes\n' "$(stat -c %s signed.xml)"

measure() {  # label, command...: wall seconds and peak KiB
  local label=$1
  shift
  /usr/bin/time -f "%e %M" -o time.txt "$@" >out.txt 2>err.txt || true
  read -r wall rss < <(tail -n 1 time.txt)
  printf '%-8s wall %6.2f s   peak %7d KiB\n' "$label" "$wall" "$rss"
  eval "${label}_wall=$wall"
}
measure xmlsec1 xmlsec1 --verify "${ids[@]}" --trusted-pem ca.pem signed.xml
grep -q '^OK' err.txt || { echo "xmlsec1 did not verify the file" >&2; cat err.txt >&2; exit 1; }
measure sigilo "$sigilo" -c ca --no-crl --no-ca-crl signed.xml
grep -q '<status>OK</status>' out.txt || { echo "sigilo did not verify the file" >&2; cat out.txt >&2; exit 1; }
awk -v s="$sigilo_wall" -v x="$xmlsec1_wall" 'BEGIN {
  printf "sigilo / xmlsec1 wall time: %.2f\n", (x > 0 ? s / x : 0)
  exit (s <= x + 0.05 ? 0 : 1) }'
