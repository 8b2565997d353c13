#!/usr/bin/python3
"""Reads a "caCertsList" and a "crlCache" written by the library with asn1crypto alone, strictly
(no byte left over anywhere), and prints one line per row:
  ca|uri or -|subject text|number of certificates|subject of each certificate
  crl|uri|issuer text|caRow|caIndex|thisUpdate|nextUpdate|revoked=serials|signature=ok or bad
The signature of each stored CRL is checked with python3 cryptography against the certificate
of its issuer found in the CA list.
Usage: read_trust_files.py caCertsList crlCache"""
import sys

from asn1crypto import core, crl as acrl, ocsp, x509 as ax
from cryptography import x509
from cryptography.hazmat.primitives.asymmetric import padding

SHORT = {"country_name": "C", "organization_name": "O", "common_name": "CN"}


class TextOrNull(core.Choice):
    _alternatives = [("text", core.OctetString), ("none", core.Null)]


class CARow(core.Sequence):
    _fields = [("uri", TextOrNull), ("subject", TextOrNull),
               ("certs", ocsp.Certificates)]


class CRLRow(core.Sequence):
    _fields = [("uri", TextOrNull), ("issuer", TextOrNull), ("ca_row", core.Integer),
               ("ca_index", core.Integer), ("crl", acrl.CertificateList),
               ("this_update", ax.Time), ("next_update", ax.Time),
               ("expired_certs_on_crl", ax.Time), ("time_stamp", ax.Time)]


def text(choice):
    return "-" if choice.name == "none" else choice.chosen.native.decode()


def short(name):
    return ",".join("%s=%s" % (SHORT[a["type"].native], a["value"].native)
                    for rdn in name.chosen for a in rdn)


def rows(data, row_type):
    top = core.SetOf.load(data, strict=True)
    return [row_type.load(child.dump(), strict=True) for child in top]


cas = rows(open(sys.argv[1], "rb").read(), CARow)
certs = {}
for row in cas:
    subjects = [short(c.subject) for c in row["certs"]]
    for c in row["certs"]:
        certs[short(c.subject)] = x509.load_der_x509_certificate(c.dump())
    print("ca|%s|%s|%d|%s" % (text(row["uri"]), text(row["subject"]), len(row["certs"]),
                              "|".join(subjects)))
for row in rows(open(sys.argv[2], "rb").read(), CRLRow):
    crl = row["crl"]
    tbs = crl["tbs_cert_list"]
    issuer = certs.get(short(tbs["issuer"]))
    ok = "bad"
    if issuer is not None:
        try:
            issuer.public_key().verify(crl["signature"].native, tbs.dump(), padding.PKCS1v15(),
                                       x509.load_der_x509_crl(crl.dump()).signature_hash_algorithm)
            ok = "ok"
        except Exception:
            ok = "bad"
    revoked = ",".join("%X" % r["user_certificate"].native for r in tbs["revoked_certificates"])
    print("crl|%s|%s|%d|%d|%s|%s|revoked=%s|signature=%s" % (
        text(row["uri"]), text(row["issuer"]), row["ca_row"].native, row["ca_index"].native,
        row["this_update"].chosen.contents.decode(), row["next_update"].chosen.contents.decode(),
        revoked, ok))
