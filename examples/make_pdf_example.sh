#!/usr/bin/env bash
# Makes the signed demo PDF (documento_firmato.pdf) with tools independent of Sigilo: a demo CA
# and signer made by python cryptography (valid from 2024 to 2099; the CA certificate is kept as
# demo_pdf_ca.pem, the keys stay in a scratch folder), the unsigned document written by pikepdf
# (tests/data/pdf/base.pdf), and an ETSI.CAdES.detached signature made by `openssl cms -sign
# -cades` over the signed ranges, appended as an incremental update by
# tests/data/pdf/verify/make_signed.py.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
/usr/bin/python3 - <<'PY'
import datetime
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import rsa
from cryptography.x509.oid import NameOID

def name(cn):
    return x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "IT"),
                      x509.NameAttribute(NameOID.ORGANIZATION_NAME, "Sigilo Demo"),
                      x509.NameAttribute(NameOID.COMMON_NAME, cn)])

def save(stem, cert, key):
    open(stem + ".pem", "wb").write(cert.public_bytes(serialization.Encoding.PEM))
    open(stem + ".key", "wb").write(key.private_bytes(
        serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
        serialization.NoEncryption()))

start = datetime.datetime(2024, 1, 1, tzinfo=datetime.timezone.utc)
end = datetime.datetime(2099, 12, 31, tzinfo=datetime.timezone.utc)
ca_key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
signer_key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
ca = (x509.CertificateBuilder().subject_name(name("Sigilo Demo CA PDF"))
      .issuer_name(name("Sigilo Demo CA PDF")).public_key(ca_key.public_key()).serial_number(1)
      .not_valid_before(start).not_valid_after(end)
      .add_extension(x509.BasicConstraints(ca=True, path_length=None), True)
      .add_extension(x509.KeyUsage(False, False, False, False, False, True, True, False, False),
                     True)
      .add_extension(x509.SubjectKeyIdentifier.from_public_key(ca_key.public_key()), False)
      .sign(ca_key, hashes.SHA256()))
signer = (x509.CertificateBuilder().subject_name(name("Maria Bianchi")).issuer_name(ca.subject)
          .public_key(signer_key.public_key()).serial_number(2)
          .not_valid_before(start).not_valid_after(end)
          .add_extension(x509.KeyUsage(True, True, False, False, False, False, False, False,
                                       False), True)
          .add_extension(x509.SubjectKeyIdentifier.from_public_key(signer_key.public_key()),
                         False)
          .add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
              ca_key.public_key()), False)
          .sign(ca_key, hashes.SHA256()))
save("ca", ca, ca_key)
save("firmatario", signer, signer_key)
PY
/usr/bin/python3 - "$here/../tests/data/pdf/verify" "$work" "$here/documento_firmato.pdf" <<'PY'
import sys
sys.path.insert(0, sys.argv[1])
import make_signed
make_signed.PKI = sys.argv[2]
base = open(make_signed.BASE, "rb").read()
data = make_signed.append_signature(base, "ETSI.CAdES.detached", make_signed.cades("firmatario"),
                                    "Firma di Maria Bianchi")
open(sys.argv[3], "wb").write(data)
PY
cp ca.pem "$here/demo_pdf_ca.pem"
echo "documento_firmato.pdf and demo_pdf_ca.pem written to $here"
