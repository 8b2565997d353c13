#!/usr/bin/env bash
# Makes the revocation test data with the openssl command line alone: a three-level PKI
#   root -> inter -> signer, signer_revoked
#   root -> nocrlsign (a CA without cRLSign) -> nocrl_signer
# and its CRLs:
#   root.crl          the root's CRL, revoking inter (key compromise)
#   root_clean.crl    the root's CRL revoking nothing
#   inter.crl         inter's CRL, revoking signer_revoked
#   inter_badsig.crl  inter.crl with one byte of its signature changed
#   inter_stale.crl   inter's CRL long past its nextUpdate, whose issuing distribution point
#                     names http://127.0.0.1/inter_fresh.crl
#   inter_fresh.crl   a later CRL of inter, valid to 2099
#   nocrlsign.crl     a CRL signed by the CA that may not sign CRLs
#   root -> old_ca -> old_signer: a CA (2010-2015) and a signer (2010-2014) long expired
# and CAdES envelopes signed by signer and signer_revoked over document.txt.
# Every other certificate is valid from 2020 to 2099, so no test depends on the day it runs.
# Run from anywhere: bash tests/data/revocation/gen_revocation_data.sh
set -euo pipefail
HERE="$(cd "$(dirname "$0")" && pwd)"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
cd "$WORK"
# The CA databases are named by CA_NAME, which every use of the file needs set.
export CA_NAME=root

cat > ca.cnf <<'CNF'
[ ca ]
default_ca = any
[ any ]
dir = .
database = ./index_$ENV::CA_NAME.txt
serial = ./serial_$ENV::CA_NAME
crlnumber = ./crlnumber_$ENV::CA_NAME
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
[ root_ext ]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[ inter_ext ]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
crlDistributionPoints = URI:http://127.0.0.1/root.crl
[ nocrlsign_ext ]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
[ signer_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
crlDistributionPoints = URI:http://127.0.0.1/inter.crl
[ nocrl_signer_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
authorityKeyIdentifier = keyid
crlDistributionPoints = URI:http://127.0.0.1/nocrlsign.crl
[ old_signer_ext ]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
authorityKeyIdentifier = keyid
[ crl_ext ]
authorityKeyIdentifier = keyid
[ stale_crl_ext ]
authorityKeyIdentifier = keyid
issuingDistributionPoint = critical, @stale_idp
[ stale_idp ]
fullname = URI:http://127.0.0.1/inter_fresh.crl
CNF

key() { openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out "$1.key" 2>/dev/null; }
prepare() {  # the database of a CA
    : > "index_$1.txt"; echo "$2" > "serial_$1"; echo 01 > "crlnumber_$1"
}
issue() {  # name subject issuer extensions [start end]
    key "$1"
    openssl req -new -key "$1.key" -subj "$2" -config ca.cnf -out "$1.csr"
    CA_NAME="$3" openssl ca -batch -config ca.cnf -name any -cert "$3.pem" -keyfile "$3.key" \
        -in "$1.csr" -out "$1.pem" -extensions "$4" -extfile ca.cnf -notext \
        -startdate "${5:-20200101000000Z}" -enddate "${6:-20991231000000Z}" >/dev/null 2>&1
}
gencrl() {  # ca out extensions lastupdate nextupdate
    CA_NAME="$1" openssl ca -batch -config ca.cnf -name any -cert "$1.pem" -keyfile "$1.key" \
        -gencrl -crlexts "$3" -crl_lastupdate "$4" -crl_nextupdate "$5" -out "$2.crl.pem" \
        >/dev/null 2>&1
    openssl crl -in "$2.crl.pem" -outform DER -out "$HERE/$2.crl"
}

# openssl ca -revoke records the current time; the database is set to a fixed date instead, so
# the data is the same whatever day it is made.
fix_revocation_date() {  # ca date
    sed -i -E "s/^(R\t[0-9]+Z\t)[0-9]+Z/\1$2/" "index_$1.txt"
}

key root
openssl req -new -x509 -key root.key -subj "/C=IT/O=Sigilo Revoche/CN=Radice Revoche" \
    -config ca.cnf -extensions root_ext -set_serial 1 -days 29000 -out root.pem
prepare root 10
prepare inter 20
prepare nocrlsign 30
prepare old_ca 40
issue inter "/C=IT/O=Sigilo Revoche/CN=Intermedia Revoche" root inter_ext
issue nocrlsign "/C=IT/O=Sigilo Revoche/CN=CA Senza CRL" root nocrlsign_ext
issue signer "/C=IT/O=Sigilo Revoche/CN=Firmatario Revoche" inter signer_ext
issue signer_revoked "/C=IT/O=Sigilo Revoche/CN=Firmatario Revocato" inter signer_ext
issue nocrl_signer "/C=IT/O=Sigilo Revoche/CN=Firmatario Senza CRL" nocrlsign nocrl_signer_ext
# An old document's chain: a CA and a signer both expired long ago.
issue old_ca "/C=IT/O=Sigilo Revoche/CN=CA Scaduta" root nocrlsign_ext 20100101000000Z 20151231000000Z
issue old_signer "/C=IT/O=Sigilo Revoche/CN=Firmatario Scaduto" old_ca old_signer_ext \
    20100101000000Z 20141231000000Z

gencrl root root_clean crl_ext 20240201000000Z 20990101000000Z
CA_NAME=inter openssl ca -config ca.cnf -name any -cert inter.pem -keyfile inter.key \
    -revoke signer_revoked.pem -crl_reason keyCompromise \
    -crl_compromise 20230301000000Z >/dev/null 2>&1
fix_revocation_date inter 230301000000Z
gencrl inter inter crl_ext 20240101000000Z 20990101000000Z
gencrl inter inter_stale stale_crl_ext 20200101000000Z 20200201000000Z
gencrl inter inter_fresh crl_ext 20240601000000Z 20990101000000Z
CA_NAME=root openssl ca -config ca.cnf -name any -cert root.pem -keyfile root.key \
    -revoke inter.pem -crl_reason keyCompromise >/dev/null 2>&1
fix_revocation_date root 220601000000Z
gencrl root root crl_ext 20240101000000Z 20990101000000Z
gencrl nocrlsign nocrlsign crl_ext 20240101000000Z 20990101000000Z

# One byte of the signature changed: the last byte of the file is the signature's.
/usr/bin/python3 - "$HERE/inter.crl" "$HERE/inter_badsig.crl" <<'PY'
import sys
data = bytearray(open(sys.argv[1], "rb").read())
data[-1] ^= 0x01
open(sys.argv[2], "wb").write(data)
PY

for c in root inter nocrlsign old_ca old_signer signer signer_revoked nocrl_signer; do cp "$c.pem" "$HERE/$c.pem"; done
printf 'Documento firmato per le prove di revoca.\n' > "$HERE/document.txt"
for s in signer signer_revoked nocrl_signer; do
    openssl cms -sign -cades -binary -nodetach -md sha256 -in "$HERE/document.txt" \
        -signer "$s.pem" -inkey "$s.key" -outform DER -out "$HERE/$s.p7m"
done
echo "written to $HERE"

# A "crlCache" as earlier releases wrote it, keeping only the signed part of inter.crl: a row
# that can no longer be proved.
/usr/bin/python3 - "$HERE/inter.crl" "$HERE/crlCache_tbs_only" <<'PY'
import sys
from asn1crypto import core, crl as acrl, x509 as ax

class TextOrNull(core.Choice):
    _alternatives = [("text", core.OctetString), ("none", core.Null)]

class CRLRow(core.Sequence):
    _fields = [("uri", TextOrNull), ("issuer", TextOrNull), ("ca_row", core.Integer),
               ("ca_index", core.Integer), ("crl", acrl.TbsCertList),
               ("this_update", ax.Time), ("next_update", ax.Time),
               ("expired_certs_on_crl", ax.Time), ("time_stamp", ax.Time)]

tbs = acrl.CertificateList.load(open(sys.argv[1], "rb").read())["tbs_cert_list"]
row = CRLRow({
    "uri": TextOrNull(name="text", value=b"http://127.0.0.1/inter.crl"),
    "issuer": TextOrNull(name="text", value=b"C=IT,O=Sigilo Revoche,CN=Intermedia Revoche"),
    "ca_row": 1, "ca_index": 0, "crl": tbs, "this_update": tbs["this_update"],
    "next_update": tbs["next_update"],
    "expired_certs_on_crl": ax.Time(name="utc_time", value=core.UTCTime("700101000000Z")),
    "time_stamp": ax.Time(name="utc_time", value=core.UTCTime("240102030405Z"))}).dump()
open(sys.argv[2], "wb").write(core.SetOf([]).dump()[:0] + bytes([0x31, 0x82]) +
                              len(row).to_bytes(2, "big") + row)
PY
