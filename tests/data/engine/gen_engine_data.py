#!/usr/bin/python3
"""A test PKI made with python `cryptography` (dates chosen on purpose, valid to 2099 where they
are meant to be good), envelopes signed by `openssl cms` / `openssl smime`, a counter-signature
and a CRL added with `asn1crypto`, and engine.vec: for each case the switches and the verdicts
the report must hold.

Run from this directory: /usr/bin/python3 gen_engine_data.py
"""
import datetime
import os
import shutil
import subprocess

from asn1crypto import algos, cms, core
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa
from cryptography.x509.oid import NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
PKI = os.path.join(HERE, "pki")
UTC = datetime.timezone.utc
CRL_URI = "http://127.0.0.1/engine.crl"
DOCUMENT = b"Documento di prova per il motore di verifica.\n"


def key():
    return rsa.generate_private_key(public_exponent=65537, key_size=2048)


def name(cn):
    return x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "IT"),
                      x509.NameAttribute(NameOID.ORGANIZATION_NAME, "Sigilo Motore"),
                      x509.NameAttribute(NameOID.COMMON_NAME, cn)])


def certificate(subject, subject_key, issuer=None, issuer_key=None, serial=1, ca=False,
                start=datetime.datetime(2020, 1, 1, tzinfo=UTC),
                end=datetime.datetime(2099, 12, 31, tzinfo=UTC), crl=False):
    issuer_name = issuer.subject if issuer is not None else name(subject)
    b = (x509.CertificateBuilder().subject_name(name(subject)).issuer_name(issuer_name)
         .public_key(subject_key.public_key()).serial_number(serial)
         .not_valid_before(start).not_valid_after(end)
         .add_extension(x509.SubjectKeyIdentifier.from_public_key(subject_key.public_key()),
                        False))
    if issuer is not None:
        b = b.add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
            issuer_key.public_key()), False)
    if ca:
        b = b.add_extension(x509.BasicConstraints(ca=True, path_length=None), True)
        b = b.add_extension(x509.KeyUsage(False, False, False, False, False, True, True, False,
                                          False), True)
    else:
        b = b.add_extension(x509.KeyUsage(True, True, False, False, False, False, False, False,
                                          False), True)
    if crl:
        b = b.add_extension(x509.CRLDistributionPoints([x509.DistributionPoint(
            [x509.UniformResourceIdentifier(CRL_URI)], None, None, None)]), False)
    return b.sign(issuer_key or subject_key, hashes.SHA256())


def write_pem(path, cert):
    with open(path, "wb") as f:
        f.write(cert.public_bytes(serialization.Encoding.PEM))


def write_key(path, k):
    with open(path, "wb") as f:
        f.write(k.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
                                serialization.NoEncryption()))


def openssl(*args):
    subprocess.run(["openssl", *args], cwd=HERE, check=True, capture_output=True)


def sign(out, signer, *extra, infile="document.txt"):
    openssl("cms", "-sign", "-binary", "-in", infile, "-signer", "pki/%s.pem" % signer,
            "-inkey", "pki/%s.key" % signer, "-outform", "DER", "-out", out, *extra)


def add_counter_signature(path, out, signer_cert, signer_key):
    """A counter-signature by another key over the first signer's signature value."""
    info = cms.ContentInfo.load(open(path, "rb").read())
    sd = info["content"]
    first = sd["signer_infos"][0]
    digest = hashes.Hash(hashes.SHA256())
    digest.update(first["signature"].native)
    value = digest.finalize()
    cert = x509.load_pem_x509_certificate(open(signer_cert, "rb").read())
    from asn1crypto import x509 as ax
    acert = ax.Certificate.load(cert.public_bytes(serialization.Encoding.DER))
    attrs = cms.CMSAttributes([
        cms.CMSAttribute({"type": "content_type", "values": ["data"]}),
        cms.CMSAttribute({"type": "message_digest", "values": [value]}),
    ])
    k = serialization.load_pem_private_key(open(signer_key, "rb").read(), None)
    signature = k.sign(attrs.dump(), padding.PKCS1v15(), hashes.SHA256())
    counter = cms.SignerInfo({
        "version": "v1",
        "sid": cms.SignerIdentifier(name="issuer_and_serial_number", value={
            "issuer": acert.issuer, "serial_number": acert.serial_number}),
        "digest_algorithm": {"algorithm": "sha256"},
        "signed_attrs": attrs,
        "signature_algorithm": {"algorithm": "rsassa_pkcs1v15"},
        "signature": signature,
    })
    first["unsigned_attrs"] = cms.CMSAttributes([
        cms.CMSAttribute({"type": "counter_signature", "values": [counter]})])
    certs = list(sd["certificates"]) + [cms.CertificateChoices(name="certificate", value=acert)]
    sd["certificates"] = certs
    with open(out, "wb") as f:
        f.write(info.dump(force=True))


def main():
    if os.path.isdir(PKI):
        shutil.rmtree(PKI)
    os.makedirs(PKI)
    keys = {n: key() for n in ("root", "other_root", "good", "expired", "future", "revoked",
                               "held", "second", "counter", "stranger")}
    root = certificate("Radice Motore", keys["root"], ca=True, serial=1)
    other_root = certificate("Radice Estranea", keys["other_root"], ca=True, serial=1)
    certs = {
        "root": root,
        "other_root": other_root,
        "good": certificate("Firmatario Buono", keys["good"], root, keys["root"], serial=0x10),
        "expired": certificate("Firmatario Scaduto", keys["expired"], root, keys["root"],
                               serial=0x11, start=datetime.datetime(2010, 1, 1, tzinfo=UTC),
                               end=datetime.datetime(2012, 1, 1, tzinfo=UTC)),
        "future": certificate("Firmatario Futuro", keys["future"], root, keys["root"],
                              serial=0x12, start=datetime.datetime(2098, 1, 1, tzinfo=UTC)),
        "revoked": certificate("Firmatario Revocato", keys["revoked"], root, keys["root"],
                               serial=0x13, crl=True),
        "held": certificate("Firmatario Sospeso", keys["held"], root, keys["root"], serial=0x14,
                            crl=True),
        "second": certificate("Secondo Firmatario", keys["second"], root, keys["root"],
                              serial=0x15),
        "counter": certificate("Controfirmatario", keys["counter"], root, keys["root"],
                               serial=0x16),
        "stranger": certificate("Firmatario Estraneo", keys["stranger"], other_root,
                                keys["other_root"], serial=0x17),
    }
    for n, c in certs.items():
        write_pem(os.path.join(PKI, n + ".pem"), c)
        write_key(os.path.join(PKI, n + ".key"), keys[n])
    # The CRL of the root: one serial revoked in 2021, one on hold.
    crl = (x509.CertificateRevocationListBuilder().issuer_name(root.subject)
           .last_update(datetime.datetime(2024, 1, 1))
           .next_update(datetime.datetime(2099, 1, 1))
           .add_revoked_certificate(x509.RevokedCertificateBuilder().serial_number(0x13)
                                    .revocation_date(datetime.datetime(2021, 6, 1))
                                    .add_extension(x509.CRLReason(
                                        x509.ReasonFlags.key_compromise), False).build())
           .add_revoked_certificate(x509.RevokedCertificateBuilder().serial_number(0x14)
                                    .revocation_date(datetime.datetime(2022, 6, 1))
                                    .add_extension(x509.CRLReason(
                                        x509.ReasonFlags.certificate_hold), False).build())
           .sign(keys["root"], hashes.SHA256()))
    with open(os.path.join(PKI, "root.crl"), "wb") as f:
        f.write(crl.public_bytes(serialization.Encoding.DER))
    with open(os.path.join(HERE, "document.txt"), "wb") as f:
        f.write(DOCUMENT)
    with open(os.path.join(HERE, "other.txt"), "wb") as f:
        f.write(b"Un altro documento.\n")

    sign("cades.p7m", "good", "-nodetach", "-cades")
    sign("cades_keyid.p7m", "good", "-nodetach", "-cades", "-keyid")
    sign("plain.p7m", "good", "-nodetach")
    sign("sha1.p7m", "good", "-nodetach", "-cades", "-md", "sha1")
    sign("detached.p7s", "good", "-cades")
    # SHA-1 by a certificate of 2010: the 2011 rule then turns on the proof of the date.
    sign("sha1_2010.p7m", "expired", "-nodetach", "-cades", "-md", "sha1")
    for n in ("expired", "future", "revoked", "held", "stranger"):
        sign(n + ".p7m", n, "-nodetach", "-cades")
    openssl("cms", "-resign", "-binary", "-inform", "DER", "-in", "cades.p7m", "-signer",
            "pki/second.pem", "-inkey", "pki/second.key", "-nodetach", "-cades", "-outform",
            "DER", "-out", "two_signers.p7m")
    add_counter_signature(os.path.join(HERE, "cades.p7m"),
                          os.path.join(HERE, "countersigned.p7m"),
                          os.path.join(PKI, "counter.pem"), os.path.join(PKI, "counter.key"))
    # Nested: the CAdES envelope signed again as the content of an outer one.
    sign("nested.p7m", "second", "-nodetach", "-cades", infile="cades.p7m")
    data = bytearray(open(os.path.join(HERE, "cades.p7m"), "rb").read())
    at = data.find(DOCUMENT[:20])
    data[at] ^= 0x01
    with open(os.path.join(HERE, "tampered_content.p7m"), "wb") as f:
        f.write(data)
    data = bytearray(open(os.path.join(HERE, "cades.p7m"), "rb").read())
    data[-3] ^= 0x01
    with open(os.path.join(HERE, "tampered_signature.p7m"), "wb") as f:
        f.write(data)


if __name__ == "__main__":
    main()
