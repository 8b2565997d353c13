#!/usr/bin/python3
"""More engine cases over the PKI of gen_engine_data.py (run that one first; this one only adds):
a time-stamp authority and a qualified signer made with python `cryptography`, signature
time-stamp tokens made by `openssl ts`, CMS envelopes nested in DER and in base64, signers whose
signed attributes are assembled with `asn1crypto` (ESS identifiers of either version, a wrong
one, no message digest), a two-signer envelope whose first signature is damaged, a "crlCache"
file for the root's CRL in the store's DER layout, and more.vec with the expected verdicts.

Run from this directory: /usr/bin/python3 gen_engine_more.py
"""
import base64
import datetime
import hashlib
import os
import subprocess

from asn1crypto import cms, core
from asn1crypto import crl as acrl
from asn1crypto import x509 as ax
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
PKI = os.path.join(HERE, "pki")
UTC = datetime.timezone.utc
DOCUMENT = open(os.path.join(HERE, "document.txt"), "rb").read()


def load(name):
    cert = x509.load_pem_x509_certificate(open(os.path.join(PKI, name + ".pem"), "rb").read())
    k = serialization.load_pem_private_key(open(os.path.join(PKI, name + ".key"), "rb").read(),
                                           None)
    return cert, k


def save(name, cert, k):
    with open(os.path.join(PKI, name + ".pem"), "wb") as f:
        f.write(cert.public_bytes(serialization.Encoding.PEM))
    with open(os.path.join(PKI, name + ".key"), "wb") as f:
        f.write(k.private_bytes(serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
                                serialization.NoEncryption()))


def name(cn):
    return x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "IT"),
                      x509.NameAttribute(NameOID.ORGANIZATION_NAME, "Sigilo Motore"),
                      x509.NameAttribute(NameOID.COMMON_NAME, cn)])


def builder(cn, k, root, root_key, serial):
    return (x509.CertificateBuilder().subject_name(name(cn)).issuer_name(root.subject)
            .public_key(k.public_key()).serial_number(serial)
            .not_valid_before(datetime.datetime(2020, 1, 1, tzinfo=UTC))
            .not_valid_after(datetime.datetime(2099, 12, 31, tzinfo=UTC))
            .add_extension(x509.SubjectKeyIdentifier.from_public_key(k.public_key()), False)
            .add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
                root_key.public_key()), False))


def der_seq(*items):
    return core.Sequence.load(bytes([0x30]) + length(sum(len(i) for i in items)) +
                              b"".join(items)).dump()


def length(n):
    if n < 0x80:
        return bytes([n])
    b = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(b)]) + b


def tlv(tag, body):
    return bytes([tag]) + length(len(body)) + body


def oid(dotted):
    return core.ObjectIdentifier(dotted).dump()


def qualified_extensions():
    """QCStatements and subject directory attributes in DER, for UnrecognizedExtension."""
    iso = tlv(0x13, b"EUR")
    limit = tlv(0x30, iso + core.Integer(5000).dump() + core.Integer(2).dump())
    # The numeric currency (978) and an amount that wraps at 32 bits once multiplied.
    wrapped = tlv(0x30, core.Integer(978).dump() + core.Integer(3000000).dump() +
                  core.Integer(3).dump())
    statements = tlv(0x30, b"".join([
        tlv(0x30, oid("0.4.0.1862.1.1")),
        tlv(0x30, oid("0.4.0.1862.1.4")),
        tlv(0x30, oid("0.4.0.1862.1.2") + limit),
        tlv(0x30, oid("0.4.0.1862.1.2") + wrapped),
        tlv(0x30, oid("0.4.0.1862.1.3") + core.Integer(20).dump()),
        # Unknown: written nowhere.
        tlv(0x30, oid("1.3.6.1.4.1.99999.1")),
    ]))
    attrs = tlv(0x30, b"".join([
        tlv(0x30, oid("1.3.6.1.5.5.7.9.3") + tlv(0x31, tlv(0x13, b"F"))),
        tlv(0x30, oid("1.3.6.1.5.5.7.9.1") + tlv(0x31, tlv(0x18, b"19800229120000Z"))),
        tlv(0x30, oid("1.3.6.1.5.5.7.9.2") + tlv(0x31, tlv(0x0C, "Città di Prova".encode()))),
        tlv(0x30, oid("1.3.6.1.5.5.7.9.4") + tlv(0x31, tlv(0x13, b"IT"))),
        # Unknown: passed over.
        tlv(0x30, oid("2.5.4.3") + tlv(0x31, tlv(0x0C, b"ignoto"))),
    ]))
    return statements, attrs


def openssl(*args, **kw):
    subprocess.run(["openssl", *args], cwd=HERE, check=True, capture_output=True, **kw)


def sign(out, signer, *extra, infile="document.txt"):
    openssl("cms", "-sign", "-binary", "-in", infile, "-signer", "pki/%s.pem" % signer,
            "-inkey", "pki/%s.key" % signer, "-outform", "DER", "-out", out, *extra)


TS_CONFIG = """
[ tsa ]
default_tsa = tsa_config
[ tsa_config ]
serial = pki/tsa_serial
signer_digest = sha256
default_policy = 1.3.6.1.4.1.99999.7
digests = sha256
accuracy = secs:1
ess_cert_id_alg = sha256
"""


def time_stamp_token(value):
    """An RFC 3161 token over the bytes, made by openssl ts with the test TSA."""
    with open(os.path.join(HERE, "ts.cnf"), "w") as f:
        f.write(TS_CONFIG)
    with open(os.path.join(PKI, "tsa_serial"), "w") as f:
        f.write("01\n")
    with open(os.path.join(HERE, "ts_data.bin"), "wb") as f:
        f.write(value)
    try:
        openssl("ts", "-query", "-data", "ts_data.bin", "-sha256", "-cert", "-out", "ts.tsq")
        openssl("ts", "-reply", "-config", "ts.cnf", "-queryfile", "ts.tsq", "-signer",
                "pki/tsa.pem", "-inkey", "pki/tsa.key", "-token_out", "-out", "ts.tok")
        return open(os.path.join(HERE, "ts.tok"), "rb").read()
    finally:
        for n in ("ts.cnf", "ts_data.bin", "ts.tsq", "ts.tok", "pki/tsa_serial",
                  "pki/tsa_serial.old"):
            if os.path.exists(os.path.join(HERE, n)):
                os.remove(os.path.join(HERE, n))


def with_token(src, out, token_value=None):
    """The first signer of src with a signature time stamp in its unsigned attributes."""
    info = cms.ContentInfo.load(open(os.path.join(HERE, src), "rb").read())
    signer = info["content"]["signer_infos"][0]
    if token_value is None:
        token_value = time_stamp_token(signer["signature"].native)
    # The attribute assembled as bytes, so that a value that is no ContentInfo can be written.
    raw = tlv(0x30, oid("1.2.840.113549.1.9.16.2.14") + tlv(0x31, token_value))
    signer["unsigned_attrs"] = cms.CMSAttributes([cms.CMSAttribute.load(raw)])
    with open(os.path.join(HERE, out), "wb") as f:
        f.write(info.dump())


def ess_v1(cert_der):
    return tlv(0x30, tlv(0x30, tlv(0x30, tlv(0x04, hashlib.sha1(cert_der).digest()))))


def ess_v2(cert_der, hash_name):
    h = getattr(hashlib, hash_name)(cert_der).digest()
    if hash_name == "sha256":
        cert_id = tlv(0x30, tlv(0x04, h))  # the default algorithm is left out
    else:
        cert_id = tlv(0x30, tlv(0x30, oid("1.3.14.3.2.26")) + tlv(0x04, h))
    return tlv(0x30, tlv(0x30, cert_id))


def attribute(dotted, value_der):
    return cms.CMSAttribute.load(tlv(0x30, oid(dotted) + tlv(0x31, value_der)))


def assembled(out, cert, k, ess=None, message_digest=True, keyid=False):
    """A SignedData with one SHA-256 signer whose signed attributes are made here."""
    cert_der = cert.public_bytes(serialization.Encoding.DER)
    acert = ax.Certificate.load(cert_der)
    attrs = [attribute("1.2.840.113549.1.9.3", oid("1.2.840.113549.1.7.1"))]
    if message_digest:
        attrs.append(attribute("1.2.840.113549.1.9.4",
                               tlv(0x04, hashlib.sha256(DOCUMENT).digest())))
    if ess is not None:
        kind, value = ess
        attrs.append(attribute("1.2.840.113549.1.9.16.2.12" if kind == 1
                               else "1.2.840.113549.1.9.16.2.47", value))
    signed = cms.CMSAttributes(attrs)
    signature = k.sign(signed.dump(), padding.PKCS1v15(), hashes.SHA256())
    if keyid:
        sid = cms.SignerIdentifier(name="subject_key_identifier",
                                   value=acert.key_identifier_value.native)
    else:
        sid = cms.SignerIdentifier(name="issuer_and_serial_number", value={
            "issuer": acert.issuer, "serial_number": acert.serial_number})
    signer = cms.SignerInfo({
        "version": "v3" if keyid else "v1", "sid": sid,
        "digest_algorithm": {"algorithm": "sha256"}, "signed_attrs": signed,
        "signature_algorithm": {"algorithm": "rsassa_pkcs1v15"}, "signature": signature})
    sd = cms.SignedData({
        "version": "v3" if keyid else "v1",
        "digest_algorithms": [{"algorithm": "sha256"}],
        "encap_content_info": {"content_type": "data", "content": DOCUMENT},
        "certificates": [cms.CertificateChoices(name="certificate", value=acert)],
        "signer_infos": [signer]})
    with open(os.path.join(HERE, out), "wb") as f:
        f.write(cms.ContentInfo({"content_type": "signed_data", "content": sd}).dump())


def first_signature_damaged(src, out):
    info = cms.ContentInfo.load(open(os.path.join(HERE, src), "rb").read())
    signer = info["content"]["signer_infos"][0]
    value = bytearray(signer["signature"].native)
    value[10] ^= 0x01
    signer["signature"] = bytes(value)
    with open(os.path.join(HERE, out), "wb") as f:
        f.write(info.dump())


SHORT = {"2.5.4.6": "C", "2.5.4.10": "O", "2.5.4.3": "CN"}


def crl_cache():
    """The root's CRL as the one row of a "crlCache" file, as the store writes it."""
    class TextOrNull(core.Choice):
        _alternatives = [("text", core.OctetString), ("none", core.Null)]

    class CRLRow(core.Sequence):
        _fields = [("uri", TextOrNull), ("issuer", TextOrNull), ("ca_row", core.Integer),
                   ("ca_index", core.Integer), ("crl", acrl.CertificateList),
                   ("this_update", ax.Time), ("next_update", ax.Time),
                   ("expired_certs_on_crl", ax.Time), ("time_stamp", ax.Time)]

    # The row keeps the whole signed CRL, so the store can prove it again after a reload.
    whole = acrl.CertificateList.load(open(os.path.join(PKI, "root.crl"), "rb").read())
    tbs = whole["tbs_cert_list"]
    issuer = ",".join("%s=%s" % (SHORT[a["type"].dotted], a["value"].native)
                      for rdn in tbs["issuer"].chosen for a in rdn)
    row = CRLRow({
        "uri": TextOrNull(name="text", value=b"http://127.0.0.1/engine.crl"),
        "issuer": TextOrNull(name="text", value=issuer.encode()), "ca_row": 0, "ca_index": 0,
        "crl": whole, "this_update": tbs["this_update"], "next_update": tbs["next_update"],
        "expired_certs_on_crl": ax.Time(name="utc_time", value=core.UTCTime("700101000000Z")),
        "time_stamp": ax.Time(name="utc_time", value=core.UTCTime("240102030405Z"))}).dump()
    os.makedirs(os.path.join(HERE, "crl"), exist_ok=True)
    with open(os.path.join(HERE, "crl", "crlCache"), "wb") as f:
        f.write(tlv(0x31, row))


def main():
    root, root_key = load("root")
    tsa_key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
    tsa = (builder("Marcatore di Prova", tsa_key, root, root_key, 0x30)
           .add_extension(x509.ExtendedKeyUsage([ExtendedKeyUsageOID.TIME_STAMPING]), True)
           .add_extension(x509.KeyUsage(True, True, False, False, False, False, False, False,
                                        False), True)
           .sign(root_key, hashes.SHA256()))
    save("tsa", tsa, tsa_key)
    q_key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
    statements, directory = qualified_extensions()
    qualified = (builder("Firmatario Qualificato", q_key, root, root_key, 0x31)
                 .add_extension(x509.KeyUsage(False, True, False, False, False, False, False,
                                              False, False), True)
                 .add_extension(x509.CertificatePolicies([
                     x509.PolicyInformation(x509.ObjectIdentifier("1.3.6.1.4.1.99999.1.1"), [
                         "https://ca.example.it/cps",
                         x509.UserNotice(None, "Certificato qualificato di prova")]),
                     x509.PolicyInformation(x509.ObjectIdentifier("1.3.6.1.4.1.99999.1.2"),
                                            None)]), False)
                 .add_extension(x509.UnrecognizedExtension(
                     x509.ObjectIdentifier("1.3.6.1.5.5.7.1.3"), statements), False)
                 .add_extension(x509.UnrecognizedExtension(
                     x509.ObjectIdentifier("2.5.29.9"), directory), False)
                 .sign(root_key, hashes.SHA256()))
    save("qualified", qualified, q_key)

    sign("qualified.p7m", "qualified", "-nodetach", "-cades")
    with_token("cades.p7m", "token.p7m")
    with_token("cades_keyid.p7m", "token_cms.p7m")
    with_token("cades.p7m", "bad_token.p7m", token_value=tlv(0x04, b"non un token"))
    sign("nested_cms.p7m", "second", "-nodetach", "-cades", "-keyid", infile="cades_keyid.p7m")
    for src, out, extra in (("cades.p7m", "nested_b64.p7m", ()),
                            ("cades_keyid.p7m", "nested_b64_cms.p7m", ("-keyid",))):
        with open(os.path.join(HERE, "inner.b64"), "wb") as f:
            f.write(base64.encodebytes(open(os.path.join(HERE, src), "rb").read()))
        sign(out, "second", "-nodetach", "-cades", *extra, infile="inner.b64")
        os.remove(os.path.join(HERE, "inner.b64"))
    # A PEM envelope: the same CAdES envelope in base64 text.
    openssl("cms", "-cmsout", "-inform", "DER", "-in", "cades.p7m", "-outform", "PEM",
            "-out", "cades.pem.p7m")
    good, good_key = load("good")
    good_der = good.public_bytes(serialization.Encoding.DER)
    second_der = load("second")[0].public_bytes(serialization.Encoding.DER)
    assembled("ess_v1.p7m", good, good_key, ess=(1, ess_v1(good_der)))
    assembled("ess_v2_sha1.p7m", good, good_key, ess=(2, ess_v2(good_der, "sha1")))
    assembled("ess_v2_wrong.p7m", good, good_key, ess=(2, ess_v2(second_der, "sha256")))
    assembled("ess_v1_wrong.p7m", good, good_key, ess=(1, ess_v1(second_der)))
    assembled("ess_v2_keyid.p7m", good, good_key, ess=(2, ess_v2(good_der, "sha256")),
              keyid=True)
    assembled("no_digest.p7m", good, good_key, ess=(2, ess_v2(good_der, "sha256")),
              message_digest=False)
    first_signature_damaged("two_signers.p7m", "first_bad.p7m")
    # No certificate in the envelope: the signer's cannot be found, by serial or by key.
    sign("nocerts.p7m", "good", "-nodetach", "-cades", "-nocerts")
    sign("nocerts_keyid.p7m", "good", "-nodetach", "-cades", "-nocerts", "-keyid")
    sign("stranger_cms.p7m", "stranger", "-nodetach", "-cades", "-keyid")
    crl_cache()
    old_signer()


def old_signer():
    """A signer whose certificate expired in June 2009, before any CRL kept expired ones."""
    root, root_key = load("root")
    k = rsa.generate_private_key(public_exponent=65537, key_size=2048)
    cert = (x509.CertificateBuilder().subject_name(name("Firmatario Antico"))
            .issuer_name(root.subject).public_key(k.public_key()).serial_number(0x32)
            .not_valid_before(datetime.datetime(2008, 1, 1, tzinfo=UTC))
            .not_valid_after(datetime.datetime(2009, 6, 1, tzinfo=UTC))
            .add_extension(x509.SubjectKeyIdentifier.from_public_key(k.public_key()), False)
            .add_extension(x509.KeyUsage(True, True, False, False, False, False, False, False,
                                         False), True)
            .sign(root_key, hashes.SHA256()))
    save("old", cert, k)
    sign("old.p7m", "old", "-nodetach", "-cades")


if __name__ == "__main__":
    main()
