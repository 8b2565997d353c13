#!/usr/bin/env bash
# Makes the PKI of the network tests with the openssl CLI: a root that signs CRLs, three
# signers (good, revoked, on hold) whose certificates name a CRL distribution point, the root's
# CRLs at several dates, and one PKCS#7 envelope per signer. All dates are fixed (certificates
# valid from 2020 to 2099), so the files do not age.
#
# The distribution point is http://127.0.0.1:9/crl/root.crl: port 9 (discard) has no server, so
# a run without a proxy finds the CRL server down; the tests reach their own server by giving it
# as the HTTP proxy, which receives the whole URL.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
mkdir -p newcerts
touch index.txt
echo 10 > serial
echo 1000 > crlnumber
cat > ca.cnf <<'CNF'
[ca]
default_ca = net
[net]
dir = .
database = ./index.txt
new_certs_dir = ./newcerts
serial = ./serial
crlnumber = ./crlnumber
default_md = sha256
policy = anything
unique_subject = no
copy_extensions = none
[anything]
countryName = optional
organizationName = optional
commonName = supplied
[root_ext]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[signer_ext]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
authorityKeyIdentifier = keyid
crlDistributionPoints = URI:http://127.0.0.1:9/crl/root.crl
[crl_ext]
authorityKeyIdentifier = keyid
CNF
dates=(-startdate 20200101000000Z -enddate 20991231000000Z)
openssl req -new -newkey rsa:2048 -nodes -keyout root.key -subj "/C=IT/O=Sigilo Rete/CN=Radice Rete" \
  -out root.csr 2>/dev/null
openssl ca -batch -config ca.cnf -selfsign -keyfile root.key -in root.csr -out root.pem \
  -extensions root_ext "${dates[@]}" -notext 2>/dev/null
for name in good revoked held; do
  case $name in
    good) cn="Firmatario Rete" ;;
    revoked) cn="Firmatario Rete Revocato" ;;
    held) cn="Firmatario Rete Sospeso" ;;
  esac
  openssl req -new -newkey rsa:2048 -nodes -keyout "$name.key" -subj "/C=IT/O=Sigilo Rete/CN=$cn" \
    -out "$name.csr" 2>/dev/null
  openssl ca -batch -config ca.cnf -cert root.pem -keyfile root.key -in "$name.csr" \
    -out "$name.pem" -extensions signer_ext "${dates[@]}" -notext 2>/dev/null
done
openssl ca -config ca.cnf -cert root.pem -keyfile root.key -revoke revoked.pem \
  -crl_reason keyCompromise 2>/dev/null
openssl ca -config ca.cnf -cert root.pem -keyfile root.key -revoke held.pem \
  -crl_hold holdInstructionReject 2>/dev/null
# Fixed revocation dates, in place of the time of this run.
sed -i -E 's/^R\t([0-9Z]+)\t[0-9]{12}Z/R\t\1\t210601000000Z/' index.txt
crl() {
  openssl ca -gencrl -config ca.cnf -cert root.pem -keyfile root.key -crlexts crl_ext \
    -crl_lastupdate "$2" -crl_nextupdate "$3" -out "$1.pem" 2>/dev/null
  openssl crl -in "$1.pem" -outform DER -out "$1.der"
}
crl crl_current 20240101000000Z 20990101000000Z
crl crl_newer 20250101000000Z 20990101000000Z
crl crl_stale 20200101000000Z 20210101000000Z
printf 'Documento firmato per le prove di rete.\n' > document.txt
for name in good revoked held; do
  openssl cms -sign -binary -nodetach -outform DER -md sha256 -signer "$name.pem" \
    -inkey "$name.key" -in document.txt -out "$name.p7m"
done
cp root.pem root.key good.pem revoked.pem held.pem good.p7m revoked.p7m held.p7m \
  crl_current.der crl_current.pem crl_newer.der crl_stale.der document.txt "$here/"
