#!/usr/bin/python3
"""Makes crl.vec: CRLs from `openssl ca -gencrl` and hand-assembled ones (asn1crypto +
cryptography), each with the facts a reader must find in it, and the issuing CA certificate.

Run from this directory: /usr/bin/python3 gen_crl_data.py
"""
import datetime
import os
import subprocess
import tempfile

from asn1crypto import core, crl as acrl, parser, x509
from cryptography import x509 as cx509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa
from cryptography.x509.oid import NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
EPOCH = datetime.datetime(2020, 1, 1, tzinfo=datetime.timezone.utc)


def run(*args, cwd):
    subprocess.run(args, cwd=cwd, check=True, stdout=subprocess.DEVNULL,
                   stderr=subprocess.DEVNULL)


def openssl_crls(work):
    """A CA made by openssl, three certificates revoked with reasons, CRLs from -gencrl."""
    os.makedirs(os.path.join(work, "newcerts"))
    open(os.path.join(work, "index.txt"), "w").close()
    with open(os.path.join(work, "serial"), "w") as f:
        f.write("1000\n")
    with open(os.path.join(work, "crlnumber"), "w") as f:
        f.write("01\n")
    with open(os.path.join(work, "ca.cnf"), "w") as f:
        f.write("""
[ ca ]
default_ca = CA_default
[ CA_default ]
dir = .
database = ./index.txt
new_certs_dir = ./newcerts
serial = ./serial
crlnumber = ./crlnumber
certificate = ./ca.pem
private_key = ./ca.key
default_md = sha256
default_days = 3650
default_crl_days = 30
policy = policy_any
unique_subject = no
[ policy_any ]
commonName = supplied
[ crl_ext ]
authorityKeyIdentifier = keyid:always
[ req ]
distinguished_name = dn
[ dn ]
[ v3_ca ]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
""")
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key",
        "-out", "ca.pem", "-subj", "/C=IT/O=Sigilo Test/CN=Sigilo CRL CA", "-days", "36500",
        "-config", "ca.cnf", "-extensions", "v3_ca", cwd=work)
    reasons = {"1000": "keyCompromise", "1001": "certificateHold", "1002": None}
    for serial in reasons:
        run("openssl", "req", "-new", "-newkey", "rsa:1024", "-nodes", "-keyout",
            "ee%s.key" % serial, "-out", "ee%s.csr" % serial, "-subj",
            "/CN=Holder %s" % serial, "-config", "ca.cnf", cwd=work)
        run("openssl", "ca", "-batch", "-config", "ca.cnf", "-in", "ee%s.csr" % serial,
            "-out", "ee%s.pem" % serial, "-notext", cwd=work)
    # A CRL before any revocation: no revokedCertificates at all, v2 for the extension.
    run("openssl", "ca", "-gencrl", "-config", "ca.cnf", "-crlexts", "crl_ext",
        "-out", "empty.pem", cwd=work)
    for serial, reason in reasons.items():
        args = ["openssl", "ca", "-config", "ca.cnf", "-revoke", "newcerts/%s.pem" % serial]
        if reason == "certificateHold":
            args += ["-crl_hold", "1.2.840.10040.2.2"]
        elif reason:
            args += ["-crl_reason", reason]
        run(*args, cwd=work)
    run("openssl", "ca", "-gencrl", "-config", "ca.cnf", "-out", "plain.pem", cwd=work)
    run("openssl", "ca", "-gencrl", "-config", "ca.cnf", "-crlexts", "crl_ext",
        "-crlhours", "12", "-out", "v2.pem", cwd=work)
    der = {}
    for name in ("empty", "plain", "v2"):
        der[name] = subprocess.run(["openssl", "crl", "-in", name + ".pem", "-outform", "DER"],
                                   cwd=work, check=True, capture_output=True).stdout
    ca_der = subprocess.run(["openssl", "x509", "-in", "ca.pem", "-outform", "DER"], cwd=work,
                            check=True, capture_output=True).stdout
    with open(os.path.join(work, "ca.key"), "rb") as f:
        key = serialization.load_pem_private_key(f.read(), None)
    return ca_der, key, der


def sign_tbs(tbs, key):
    """A CertificateList around an asn1crypto TBSCertList, signed by cryptography."""
    signature = key.sign(tbs.dump(), padding.PKCS1v15(), hashes.SHA256())
    return acrl.CertificateList({
        "tbs_cert_list": tbs,
        "signature_algorithm": {"algorithm": "sha256_rsa"},
        "signature": signature,
    }).dump()


def hand_crls(ca_der, key):
    ca = x509.Certificate.load(ca_der)
    issuer = ca.subject
    this_update = x509.Time({"utc_time": EPOCH})
    out = {}
    # A version 1 CRL: no version field, no extensions anywhere.
    tbs = acrl.TbsCertList({
        "signature": {"algorithm": "sha256_rsa"}, "issuer": issuer,
        "this_update": this_update,
        "next_update": x509.Time({"utc_time": datetime.datetime(
            2049, 12, 31, tzinfo=datetime.timezone.utc)}),
        "revoked_certificates": [
            {"user_certificate": 5, "revocation_date": x509.Time({"utc_time": EPOCH})},
            {"user_certificate": 0x80, "revocation_date": x509.Time({"utc_time": EPOCH})},
        ],
    })
    out["v1"] = sign_tbs(tbs, key)
    # No nextUpdate, one entry with an invalidity date and a reason.
    entry = {
        "user_certificate": 0x0123456789ABCDEF,
        "revocation_date": x509.Time({"utc_time": EPOCH}),
        "crl_entry_extensions": [
            {"extn_id": "crl_reason", "extn_value": "superseded"},
            {"extn_id": "invalidity_date",
             "extn_value": datetime.datetime(2019, 6, 1, tzinfo=datetime.timezone.utc)},
        ],
    }
    tbs = acrl.TbsCertList({
        "version": "v2", "signature": {"algorithm": "sha256_rsa"}, "issuer": issuer,
        "this_update": this_update, "revoked_certificates": [entry],
    })
    out["no_next"] = sign_tbs(tbs, key)
    # An empty revoked list that is present, with nextUpdate in GeneralizedTime.
    tbs = acrl.TbsCertList({
        "version": "v2", "signature": {"algorithm": "sha256_rsa"}, "issuer": issuer,
        "this_update": this_update,
        "next_update": x509.Time({"general_time": datetime.datetime(
            2099, 1, 1, tzinfo=datetime.timezone.utc)}),
        "revoked_certificates": [],
    })
    out["empty_list"] = sign_tbs(tbs, key)
    # Only the extensions after thisUpdate.
    tbs = acrl.TbsCertList({
        "version": "v2", "signature": {"algorithm": "sha256_rsa"}, "issuer": issuer,
        "this_update": this_update,
        "crl_extensions": [{"extn_id": "crl_number", "extn_value": 7}],
    })
    out["ext_only"] = sign_tbs(tbs, key)
    # A negative serial (some CAs issued them) and a padded one: both must still be found.
    tbs = acrl.TbsCertList({
        "version": "v2", "signature": {"algorithm": "sha256_rsa"}, "issuer": issuer,
        "this_update": this_update,
        "next_update": x509.Time({"utc_time": datetime.datetime(
            2049, 1, 1, tzinfo=datetime.timezone.utc)}),
        "revoked_certificates": [
            {"user_certificate": -2, "revocation_date": x509.Time({"utc_time": EPOCH})},
        ],
    })
    out["negative"] = sign_tbs(tbs, key)
    return out


def expired_certs_crl(key, ca_der):
    """cryptography's own builder, with an expiredCertsOnCRL extension (2.5.29.60)."""
    ca = cx509.load_der_x509_certificate(ca_der)
    value = core.GeneralizedTime(datetime.datetime(2015, 3, 1, tzinfo=datetime.timezone.utc))
    revoked = (cx509.RevokedCertificateBuilder().serial_number(0x42)
               .revocation_date(EPOCH.replace(tzinfo=None))
               .add_extension(cx509.CRLReason(cx509.ReasonFlags.certificate_hold), False)
               .build())
    builder = (cx509.CertificateRevocationListBuilder().issuer_name(ca.subject)
               .last_update(EPOCH.replace(tzinfo=None))
               .next_update(datetime.datetime(2099, 1, 1))
               .add_revoked_certificate(revoked)
               .add_extension(cx509.UnrecognizedExtension(
                   cx509.ObjectIdentifier("2.5.29.60"), value.dump()), False))
    return builder.sign(key, hashes.SHA256()).public_bytes(serialization.Encoding.DER)


def children(der):
    """(tag byte, bytes) of each element inside a DER SEQUENCE, by asn1crypto's parser."""
    _, _, _, _, contents, _ = parser.parse(der)
    out = []
    while contents:
        cls, constructed, tag, header, inner, trailer = parser.parse(contents)
        first = header[0]
        out.append((first, header + inner + trailer))
        contents = contents[len(header) + len(inner) + len(trailer):]
    return out


def describe(name, der):
    """The facts a reader must find, from asn1crypto's reading of the bytes."""
    c = acrl.CertificateList.load(der)
    tbs = c["tbs_cert_list"]
    parts = children(tbs.dump())
    tags = [t for t, _ in parts]
    version = core.Integer.load(parts[0][1]).native if tags[0] == 0x02 else -1
    rest = tags[(1 if version != -1 else 0) + 3:]
    times = [p for t, p in parts[(1 if version != -1 else 0) + 2:] if t in (0x17, 0x18)]
    has_list = 0x30 in rest
    return {
        "name": name,
        "der": der.hex(),
        "version": str(version),
        "this_update": core.Any.load(times[0]).contents.decode(),
        "next_update": core.Any.load(times[1]).contents.decode() if len(times) > 1 else "-",
        "revoked_list": "present" if has_list else "absent",
        "revoked": ",".join(serial_text(r["user_certificate"].native)
                            for r in tbs["revoked_certificates"]) or "-" if has_list else "-",
        "entry_extensions": ",".join(str(len(r["crl_entry_extensions"]))
                                     for r in tbs["revoked_certificates"]) or "-" if has_list else "-",
        "crl_extensions": str(len(tbs["crl_extensions"])) if 0xA0 in rest else "0",
    }


def serial_text(n):
    """The product's serial text: upper-case hex, two digits a byte, "-" before a negative."""
    magnitude = abs(n)
    size = max(1, (magnitude.bit_length() + 7) // 8)
    return ("-" if n < 0 else "") + magnitude.to_bytes(size, "big").hex().upper()


def main():
    with tempfile.TemporaryDirectory() as work:
        ca_der, key, crls = openssl_crls(work)
    crls.update(hand_crls(ca_der, key))
    crls["expired_certs"] = expired_certs_crl(key, ca_der)
    lines = ["# CRLs and what a reader must find in them. Made by gen_crl_data.py.",
             "# version: -1 absent, else the INTEGER; next_update/revoked: '-' for none.", "",
             "[ca]", "der = " + ca_der.hex(), ""]
    for name in ("plain", "v2", "empty", "v1", "no_next", "empty_list", "ext_only", "negative",
                 "expired_certs"):
        lines.append("[crl]")
        for k, v in describe(name, crls[name]).items():
            lines.append("%s = %s" % (k, v))
        lines.append("")
    # The two CMS/PKCS#7 carriers: a SET of CRLs, and a SET of choices with an `other`.
    from asn1crypto import cms
    pair = cms.RevocationInfoChoices([
        cms.RevocationInfoChoice(name="crl", value=acrl.CertificateList.load(crls["v1"])),
        cms.RevocationInfoChoice(name="other", value=cms.OtherRevocationInfoFormat({
            "other_rev_info_format": "1.2.3.4.5",
            "other_rev_info": core.OctetString(b"opaque status"),
        })),
        cms.RevocationInfoChoice(name="crl", value=acrl.CertificateList.load(crls["v2"])),
    ])
    kinds = ["other" if t == 0xA1 else "crl" for t, _ in children(pair.dump())]
    lines += ["[choices]", "der = " + pair.dump().hex(), "kinds = " + ",".join(kinds),
              "other_oid = 1.2.3.4.5", ""]
    lists = cms.RevocationInfoChoices([acrl.CertificateList.load(crls[n])
                                       for n in ("no_next", "ext_only")])
    lines += ["[crl_set]", "der = " + lists.dump().hex(), "count = 2", ""]
    with open(os.path.join(HERE, "crl.vec"), "w") as f:
        f.write("\n".join(lines))


if __name__ == "__main__":
    main()
