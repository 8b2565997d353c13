#!/usr/bin/env bash
# Makes the OCSP test data with the openssl command line and python3's cryptography and
# asn1crypto:
#   ca              "CA OCSP", the issuer of everything below (self-signed, to 2099)
#   responder       a delegated responder of ca: id-kp-OCSPSigning, digitalSignature
#   noeku           a certificate of ca with digitalSignature and no extended key usage
#   other           an unrelated self-signed CA
#   good, revoked, revoked_noreason, held, unknown
#                   signers of ca (serials 1001 to 1005) whose OCSP service is
#                   http://127.0.0.1:47321/ and whose CRL is http://127.0.0.1/ocsp_ca.crl
#   twoaia          a signer (1006) naming https://127.0.0.1:47321/ first, then the http one
#   index.txt       the responder's database: 1001 good, 1002 revoked for key compromise with
#                   an invalidity date, 1003 revoked without reason, 1004 on hold, 1006 good;
#                   1005 is not there (unknown)
#   ocsp_ca.crl     the CRL of ca, revoking 1002
#   req_good.der    openssl's own request for 1001, to compare the encoder with
#   resp_*.der      responses that openssl ocsp cannot make (make_responses.py)
#   good.p7m, revoked.p7m  CAdES envelopes over document.txt
# Every certificate runs from 2020 to 2099, so no test depends on the day it runs.
# Run from anywhere: bash tests/data/ocsp/gen_ocsp_data.sh
set -euo pipefail
HERE="$(cd "$(dirname "$0")" && pwd)"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"

cat > ca.cnf <<'CNF'
[ ca ]
default_ca = any
[ any ]
dir = .
database = ./index.txt
serial = ./serial
crlnumber = ./crlnumber
new_certs_dir = .
default_md = sha256
policy = anything
preserve = yes
unique_subject = no
copy_extensions = none
[ anything ]
countryName = optional
organizationName = optional
commonName = optional
[ req ]
distinguished_name = dn
prompt = no
[ dn ]
CN = unused
[ ca_ext ]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[ responder_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature
extendedKeyUsage = OCSPSigning
authorityKeyIdentifier = keyid
[ noeku_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature
authorityKeyIdentifier = keyid
[ signer_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
authorityKeyIdentifier = keyid
authorityInfoAccess = OCSP;URI:http://127.0.0.1:47321/
crlDistributionPoints = URI:http://127.0.0.1/ocsp_ca.crl
[ twoaia_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
authorityKeyIdentifier = keyid
authorityInfoAccess = OCSP;URI:https://127.0.0.1:47321/, OCSP;URI:http://127.0.0.1:47321/
[ crl_ext ]
authorityKeyIdentifier = keyid
CNF

key() { openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out "$1.key" 2>/dev/null; }
issue() {  # name subject extensions serial
    key "$1"
    openssl req -new -key "$1.key" -subj "$2" -config ca.cnf -out "$1.csr"
    echo "$4" > serial
    openssl ca -batch -config ca.cnf -name any -cert ca.pem -keyfile ca.key -in "$1.csr" \
        -out "$1.pem" -extensions "$3" -extfile ca.cnf -notext \
        -startdate 20200101000000Z -enddate 20991231000000Z >/dev/null 2>&1
}

key ca
openssl req -new -x509 -key ca.key -subj "/C=IT/O=Sigilo OCSP/CN=CA OCSP" -config ca.cnf \
    -extensions ca_ext -set_serial 1 -days 29000 -out ca.pem
key other
openssl req -new -x509 -key other.key -subj "/C=IT/O=Sigilo OCSP/CN=CA Estranea" -config ca.cnf \
    -extensions ca_ext -set_serial 2 -days 29000 -out other.pem
: > index.txt
echo 01 > crlnumber
issue responder "/C=IT/O=Sigilo OCSP/CN=Risponditore OCSP" responder_ext 0100
issue noeku "/C=IT/O=Sigilo OCSP/CN=Senza Uso OCSP" noeku_ext 0101
issue good "/C=IT/O=Sigilo OCSP/CN=Firmatario Valido" signer_ext 1001
issue revoked "/C=IT/O=Sigilo OCSP/CN=Firmatario Revocato" signer_ext 1002
issue revoked_noreason "/C=IT/O=Sigilo OCSP/CN=Firmatario Revocato Senza Motivo" signer_ext 1003
issue held "/C=IT/O=Sigilo OCSP/CN=Firmatario Sospeso" signer_ext 1004
issue unknown "/C=IT/O=Sigilo OCSP/CN=Firmatario Ignoto" signer_ext 1005
issue twoaia "/C=IT/O=Sigilo OCSP/CN=Firmatario Due Servizi" twoaia_ext 1006

revoke() { openssl ca -config ca.cnf -name any -cert ca.pem -keyfile ca.key -revoke "$@" >/dev/null 2>&1; }
# openssl ca records the current time; fixed dates keep the data the same whatever day it is
# made. The CRL is made while only 1002 is revoked.
fix_dates() { sed -i -E "s/^(R\t[0-9]+Z\t)[0-9]+Z/\1230401000000Z/" index.txt; }
revoke revoked.pem -crl_reason keyCompromise -crl_compromise 20230301000000Z
fix_dates
openssl ca -batch -config ca.cnf -name any -cert ca.pem -keyfile ca.key -gencrl \
    -crlexts crl_ext -crl_lastupdate 20240101000000Z -crl_nextupdate 20990101000000Z \
    -out ocsp_ca.crl.pem >/dev/null 2>&1
openssl crl -in ocsp_ca.crl.pem -outform DER -out "$HERE/ocsp_ca.crl"
revoke revoked_noreason.pem
revoke held.pem -crl_hold holdInstructionReject
fix_dates
# The responder's database: everything but 1005.
grep -v -P '\t1005\t' index.txt > "$HERE/index.txt"

for c in ca other responder noeku good revoked revoked_noreason held unknown twoaia; do
    cp "$c.pem" "$HERE/$c.pem"
done
for k in ca responder noeku other; do cp "$k.key" "$HERE/$k.key"; done

openssl ocsp -issuer ca.pem -serial 0x1001 -no_nonce -reqout "$HERE/req_good.der" >/dev/null
printf 'Documento firmato per le prove OCSP.\n' > "$HERE/document.txt"
for s in good revoked; do
    openssl cms -sign -cades -binary -nodetach -md sha256 -in "$HERE/document.txt" \
        -signer "$s.pem" -inkey "$s.key" -outform DER -out "$HERE/$s.p7m"
done
/usr/bin/python3 "$HERE/make_responses.py" "$HERE"
echo "written to $HERE"
