#!/usr/bin/python3
"""Makes the input files that the classification, MIME and front-end tests read, with tools
independent of Sigilo: certificates with `cryptography`, envelopes and time stamps with the
`openssl` command line, the RFC 5544 TSD and the SignedData of unusual versions with
`asn1crypto`, the M7M with Python's `email` package and the XML signature with `xmlsec1`.

Run from anywhere: python3 tests/data/verify/gen_inputs.py [output-dir]
The expected classification of every file is in classify.vec beside this script."""
import base64
import datetime
import os
import subprocess
import sys
import tempfile
from email.mime.application import MIMEApplication
from email.mime.multipart import MIMEMultipart

from asn1crypto import cms, core
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import rsa
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.abspath(sys.argv[1]) if len(sys.argv) > 1 else HERE
WORK = tempfile.mkdtemp()
# Valid from 2020 to the end of 2099, so that no test depends on the day it runs.
NOT_BEFORE = datetime.datetime(2020, 1, 1)
NOT_AFTER = datetime.datetime(2099, 12, 31, 23, 59, 59)


def out(name):
    return os.path.join(OUT, name)


def work(name):
    return os.path.join(WORK, name)


def write(path, data):
    with open(path, "wb") as f:
        f.write(data)


def read(path):
    with open(path, "rb") as f:
        return f.read()


def openssl(*args):
    subprocess.run(["openssl", *args], check=True, stdout=subprocess.DEVNULL)


def name(common):
    return x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "IT"),
                      x509.NameAttribute(NameOID.ORGANIZATION_NAME, "Sigilo Demo"),
                      x509.NameAttribute(NameOID.COMMON_NAME, common)])


def make_cert(common, issuer_cert, issuer_key, serial, ca=False, tsa=False):
    key = rsa.generate_private_key(public_exponent=65537, key_size=2048)
    builder = (x509.CertificateBuilder()
               .subject_name(name(common))
               .issuer_name(issuer_cert.subject if issuer_cert else name(common))
               .public_key(key.public_key())
               .serial_number(serial)
               .not_valid_before(NOT_BEFORE)
               .not_valid_after(NOT_AFTER)
               .add_extension(x509.SubjectKeyIdentifier.from_public_key(key.public_key()),
                              critical=False))
    if ca:
        builder = (builder.add_extension(x509.BasicConstraints(ca=True, path_length=None), True)
                   .add_extension(x509.KeyUsage(False, False, False, False, False, True, True,
                                                False, False), True))
    else:
        builder = builder.add_extension(
            x509.AuthorityKeyIdentifier.from_issuer_public_key(issuer_key.public_key()), False)
        if tsa:
            builder = (builder.add_extension(
                x509.ExtendedKeyUsage([ExtendedKeyUsageOID.TIME_STAMPING]), critical=True)
                .add_extension(x509.KeyUsage(True, True, False, False, False, False, False,
                                             False, False), True))
        else:
            builder = builder.add_extension(
                x509.KeyUsage(True, True, False, False, False, False, False, False, False), True)
    cert = builder.sign(issuer_key or key, hashes.SHA256())
    return cert, key


def save_pair(prefix, cert, key, directory=OUT):
    write(os.path.join(directory, prefix + "_cert.pem"), cert.public_bytes(serialization.Encoding.PEM))
    write(os.path.join(directory, prefix + "_key.pem"), key.private_bytes(
        serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8,
        serialization.NoEncryption()))


# ---- Certificates: a CA, a signer and a time-stamping authority ----
ca_cert, ca_key = make_cert("Sigilo Demo CA", None, None, 1, ca=True)
signer_cert, signer_key = make_cert("Mario Rossi", ca_cert, ca_key, 2)
tsa_cert, tsa_key = make_cert("Sigilo Demo TSA", ca_cert, ca_key, 3, tsa=True)
save_pair("ca", ca_cert, ca_key)
save_pair("signer", signer_cert, signer_key)
save_pair("tsa", tsa_cert, tsa_key)
signer = ["-signer", out("signer_cert.pem"), "-inkey", out("signer_key.pem")]

doc = b"Documento di prova firmato digitalmente con Sigilo.\n" * 3
write(out("doc.txt"), doc)

# ---- PKCS#7 and CMS envelopes ----
# openssl smime writes a SignedData of version 1: a ".p7m" of the PKCS#7 kind.
openssl("smime", "-sign", "-binary", "-nodetach", "-outform", "DER", "-in", out("doc.txt"),
        *signer, "-out", out("doc_der.p7m"))
# The same kind armoured as PEM text, and as bare base64 lines without armour.
openssl("cms", "-sign", "-binary", "-nodetach", "-outform", "PEM", "-in", out("doc.txt"),
        *signer, "-out", out("doc_pem.p7m"))
b64 = base64.encodebytes(read(out("doc_der.p7m")))
write(out("doc_b64.p7m"), b64)
# Detached: the document is not inside.
openssl("smime", "-sign", "-binary", "-outform", "DER", "-in", out("doc.txt"), *signer,
        "-out", out("doc_detached.p7s"))
# A signer named by its key identifier makes the SignedData version 3: the CMS kind.
openssl("cms", "-sign", "-keyid", "-binary", "-nodetach", "-outform", "DER", "-in",
        out("doc.txt"), *signer, "-out", out("doc_cms.p7m"))
# Version 3 around a content type that is neither data nor signedData: what a token looks like.
openssl("cms", "-sign", "-binary", "-nodetach", "-econtent_type", "1.2.3.4", "-outform", "DER",
        "-in", out("doc.txt"), *signer, "-out", out("doc_other_type.p7m"))
# Not a SignedData at all: an EnvelopedData.
openssl("cms", "-encrypt", "-binary", "-outform", "DER", "-in", out("doc.txt"),
        "-out", out("doc_enveloped.p7m"), out("ca_cert.pem"))


def with_version(source, version, target):
    info = cms.ContentInfo.load(read(source))
    info["content"]["version"] = version
    # Re-encoded from the parsed fields, so that the new version is written.
    write(target, info.dump(force=True))


with_version(out("doc_cms.p7m"), "v4", out("doc_v4.p7m"))
with_version(out("doc_cms.p7m"), "v5", out("doc_v5.p7m"))

# ---- Time stamps over the DER envelope ----
ts_conf = work("ts.cnf")
with open(ts_conf, "w") as f:
    f.write("""[ tsa ]
default_tsa = tsa_config
[ tsa_config ]
serial = %s
crypto_device = builtin
signer_digest = sha256
default_policy = 1.2.3.4.1
digests = sha256
accuracy = secs:1
ordering = no
tsa_name = no
ess_cert_id_chain = no
ess_cert_id_alg = sha256
""" % work("tsaserial"))
write(work("tsaserial"), b"01\n")
openssl("ts", "-query", "-data", out("doc_der.p7m"), "-sha256", "-cert", "-out", work("req.tsq"))
ts_reply = ["ts", "-reply", "-config", ts_conf, "-queryfile", work("req.tsq"),
            "-signer", out("tsa_cert.pem"), "-inkey", out("tsa_key.pem")]
openssl(*ts_reply, "-out", out("doc.tsr"))
openssl(*ts_reply, "-token_out", "-out", out("doc.tst"))


# ---- RFC 5544 TimeStampedData around the DER envelope and its token ----
class TimeStampAndCRL(core.Sequence):
    _fields = [("timeStamp", cms.ContentInfo), ("crl", core.Any, {"optional": True})]


class TimeStampTokenEvidence(core.SequenceOf):
    _child_spec = TimeStampAndCRL


class Evidence(core.Choice):
    _alternatives = [("tstEvidence", TimeStampTokenEvidence, {"implicit": 0})]


class TimeStampedData(core.Sequence):
    _fields = [("version", core.Integer), ("dataUri", core.IA5String, {"optional": True}),
               ("metaData", core.Any, {"optional": True}),
               ("content", core.OctetString, {"optional": True}),
               ("temporalEvidence", Evidence)]


class TSDContentInfo(core.Sequence):
    _fields = [("contentType", core.ObjectIdentifier),
               ("content", TimeStampedData, {"explicit": 0})]


token = cms.ContentInfo.load(read(out("doc.tst")))
tsd = TSDContentInfo({
    "contentType": "1.2.840.113549.1.9.16.1.31",
    "content": {"version": 1, "content": read(out("doc_der.p7m")),
                "temporalEvidence": Evidence(name="tstEvidence",
                                               value=[{"timeStamp": token}])}})
write(out("doc.tsd"), tsd.dump())

# ---- M7M: the envelope and its time-stamp response, both in base64, as Python writes MIME ----
message = MIMEMultipart("mixed")
envelope = MIMEApplication(read(out("doc_der.p7m")), "pkcs7-mime", name="doc.p7m")
envelope.add_header("Content-Disposition", "attachment", filename="doc.p7m")
stamp = MIMEApplication(read(out("doc.tsr")), "timestamp-reply", name="doc.tsr")
stamp.add_header("Content-Disposition", "attachment", filename="doc.tsr")
message.attach(envelope)
message.attach(stamp)
write(out("doc.m7m"), message.as_bytes())

# ---- PDF: a one-page document, written out by hand with its cross-reference table ----
objects = [b"<< /Type /Catalog /Pages 2 0 R >>",
           b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
           b"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 200 100] /Contents 4 0 R >>"]
stream = b"BT /F1 12 Tf 20 50 Td (Sigilo) Tj ET"
objects.append(b"<< /Length %d >>\nstream\n" % len(stream) + stream + b"\nendstream")
pdf = b"%PDF-1.4\n%\xe2\xe3\xcf\xd3\n"
offsets = []
for i, body in enumerate(objects, 1):
    offsets.append(len(pdf))
    pdf += b"%d 0 obj\n" % i + body + b"\nendobj\n"
xref = len(pdf)
pdf += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
for offset in offsets:
    pdf += b"%010d 00000 n \n" % offset
pdf += b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, xref)
write(out("doc.pdf"), pdf)

# ---- XML: an enveloped XML signature made by xmlsec1 ----
template = work("template.xml")
with open(template, "w") as f:
    f.write("""<?xml version="1.0" encoding="UTF-8"?>
<Documento xmlns="urn:sigilo:demo">
  <Testo>Documento di prova firmato digitalmente con Sigilo.</Testo>
  <Signature xmlns="http://www.w3.org/2000/09/xmldsig#">
    <SignedInfo>
      <CanonicalizationMethod Algorithm="http://www.w3.org/TR/2001/REC-xml-c14n-20010315"/>
      <SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/>
      <Reference URI="">
        <Transforms>
          <Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/>
        </Transforms>
        <DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
        <DigestValue/>
      </Reference>
    </SignedInfo>
    <SignatureValue/>
    <KeyInfo><X509Data><X509Certificate/></X509Data></KeyInfo>
  </Signature>
</Documento>
""")
subprocess.run(["xmlsec1", "--sign", "--privkey-pem",
                out("signer_key.pem") + "," + out("signer_cert.pem"),
                "--output", out("doc_signed.xml"), template], check=True)

# ---- Edge cases of classification ----
filler = b"<elemento>testo di riempimento</elemento>\n" * 4
write(out("bare.xml"), b"<radice>\n" + filler + b"</radice>\n")
# No declaration and a blank before the first tag: none of the text markers, and not PEM.
write(out("blank_first.xml"), b" <radice>\n" + filler + b"</radice>\n")
# The declaration after blanks is still found by the search.
write(out("late_decl.xml"), b"  <?xml version=\"1.0\"?>\n<radice>\n" + filler + b"</radice>\n")
# The MIME marker after a NUL byte is beyond the end of the string that is searched.
write(out("mime_after_nul.txt"), b"Intestazione\0Mime-Version: 1.0\n" + b"x" * 120 + b"\n")
# A MIME marker in any case is found.
write(out("mime_upper.txt"), b"From: a@b\nMIME-VERSION: 1.0\n" + b"y" * 120 + b"\n")
# 127 bytes of valid PEM are still too short to be read.
pem = b"-----BEGIN CERTIFICATE-----\n" + base64.encodebytes(read(out("doc_der.p7m"))[:40]) + \
      b"-----END CERTIFICATE-----\n"
write(out("short_127.pem"), (pem + b"\n" * 127)[:127])
write(out("random.bin"), bytes((i * 73 + 41) % 256 for i in range(300)))
print("inputs written to", OUT)
