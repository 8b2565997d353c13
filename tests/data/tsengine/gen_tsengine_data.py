#!/usr/bin/python3
"""End-to-end data for the time-stamp side of the verification engine, and tsengine.vec with
what the report must hold for each file.

Everything here is made by tools that share no code with the engine: the PKI and the CRL by
python `cryptography`, one family of tokens by `openssl ts -query/-reply`, the tokens with a
chosen genTime by hand with `asn1crypto` and `cryptography` (openssl always stamps "now"), the
CAdES envelopes by `openssl cms`, the M7M files by python's `email` package, and the RFC 5544
TimeStampedData by asn1crypto classes declared below. Tokens made here are checked back with
`openssl ts -verify` and the envelopes with `openssl cms -verify`, so that a case expected to pass
cannot pass only because the writer here and the reader in the engine share a mistake.

The keys are fresh on every run; the set of files and the verdicts do not change.

Run from this directory: /usr/bin/python3 gen_tsengine_data.py
"""
import base64
import datetime
import hashlib
import io
import os
import shutil
import subprocess
import tempfile
from email import encoders
from email.generator import BytesGenerator
from email.mime.application import MIMEApplication
from email.mime.multipart import MIMEMultipart
import email.policy

from asn1crypto import cms, core, tsp
from asn1crypto import x509 as ax
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding, rsa
from cryptography.x509.oid import ExtendedKeyUsageOID, NameOID

HERE = os.path.dirname(os.path.abspath(__file__))
PKI = os.path.join(HERE, "pki")
UTC = datetime.timezone.utc
CRL_URI = "http://127.0.0.1/tsengine.crl"
DOCUMENT = b"Documento di prova per le marche temporali del motore.\n"
OTHER = b"Un documento diverso da quello marcato.\n"
POLICY = "1.3.6.1.4.1.99999.9.1"
ID_CT_TSTINFO = "1.2.840.113549.1.9.16.1.4"
ID_CT_TSD = "1.2.840.113549.1.9.16.1.31"
SIGNATURE_TIME_STAMP = "1.2.840.113549.1.9.16.2.14"
SIGNING_CERTIFICATE = "1.2.840.113549.1.9.16.2.12"
SIGNING_CERTIFICATE_V2 = "1.2.840.113549.1.9.16.2.47"
BOUNDARY = "SigiloConfineMarche"


# ---------------------------------------------------------------- PKI

def name(cn):
    return x509.Name([x509.NameAttribute(NameOID.COUNTRY_NAME, "IT"),
                      x509.NameAttribute(NameOID.ORGANIZATION_NAME, "Sigilo Marche"),
                      x509.NameAttribute(NameOID.COMMON_NAME, cn)])


def day(y, m, d):
    return datetime.datetime(y, m, d, tzinfo=UTC)


def certificate(cn, k, serial, start, end, root=None, root_key=None, kind="signer",
                crl=False):
    """kind: "ca", "signer", "tsa" (critical timeStamping) or "tsa_noeku" (the same without
    the extended key usage, so that only the usage check can refuse it)."""
    b = (x509.CertificateBuilder().subject_name(name(cn))
         .issuer_name(root.subject if root else name(cn)).public_key(k.public_key())
         .serial_number(serial).not_valid_before(start).not_valid_after(end)
         .add_extension(x509.SubjectKeyIdentifier.from_public_key(k.public_key()), False))
    if root is not None:
        b = b.add_extension(x509.AuthorityKeyIdentifier.from_issuer_public_key(
            root_key.public_key()), False)
    if kind == "ca":
        b = (b.add_extension(x509.BasicConstraints(ca=True, path_length=None), True)
             .add_extension(x509.KeyUsage(False, False, False, False, False, True, True, False,
                                          False), True))
    else:
        b = b.add_extension(x509.KeyUsage(True, True, False, False, False, False, False, False,
                                          False), True)
    if kind == "tsa":
        b = b.add_extension(x509.ExtendedKeyUsage([ExtendedKeyUsageOID.TIME_STAMPING]), True)
    if crl:
        b = b.add_extension(x509.CRLDistributionPoints([x509.DistributionPoint(
            [x509.UniformResourceIdentifier(CRL_URI)], None, None, None)]), False)
    return b.sign(root_key or k, hashes.SHA256())


class Pki:
    def __init__(self):
        if os.path.isdir(PKI):
            shutil.rmtree(PKI)
        os.makedirs(PKI)
        self.keys, self.certs = {}, {}
        self.add("root", "Radice Marche", 1, day(2000, 1, 1), day(2099, 12, 31), kind="ca")
        forever = (day(2000, 1, 1), day(2099, 12, 31))
        self.add("tsa", "Marcatore Marche", 0x40, *forever, kind="tsa")
        self.add("tsa_noeku", "Marcatore Senza Uso", 0x41, *forever, kind="tsa_noeku")
        # Time-stamp units whose certificates have since expired: one after the CRL amnesty
        # date of December 2009, one before it (no CRL can tell its state at the token's
        # time any more).
        self.add("tsa_old", "Marcatore Cessato", 0x42, day(2010, 1, 1), day(2015, 1, 1),
                 kind="tsa")
        self.add("tsa_ancient", "Marcatore Antico", 0x43, day(2005, 1, 1), day(2009, 6, 1),
                 kind="tsa")
        self.add("good", "Firmatario Buono", 0x10, *forever)
        self.add("expired", "Firmatario Scaduto", 0x11, day(2010, 1, 1), day(2012, 1, 1))
        self.add("revoked", "Firmatario Revocato", 0x13, *forever, crl=True)
        self.add("held", "Firmatario Sospeso", 0x14, *forever, crl=True)
        root_key = self.keys["root"]
        crl = (x509.CertificateRevocationListBuilder().issuer_name(self.certs["root"].subject)
               .last_update(datetime.datetime(2024, 1, 1))
               .next_update(datetime.datetime(2099, 1, 1))
               .add_revoked_certificate(
                   x509.RevokedCertificateBuilder().serial_number(0x13)
                   .revocation_date(datetime.datetime(2021, 6, 1))
                   .add_extension(x509.CRLReason(x509.ReasonFlags.key_compromise), False)
                   .build())
               .add_revoked_certificate(
                   x509.RevokedCertificateBuilder().serial_number(0x14)
                   .revocation_date(datetime.datetime(2022, 6, 1))
                   .add_extension(x509.CRLReason(x509.ReasonFlags.certificate_hold), False)
                   .build())
               .sign(root_key, hashes.SHA256()))
        with open(os.path.join(PKI, "root.crl"), "wb") as f:
            f.write(crl.public_bytes(serialization.Encoding.DER))

    def add(self, label, cn, serial, start, end, kind="signer", crl=False):
        k = rsa.generate_private_key(public_exponent=65537, key_size=2048)
        root = self.certs.get("root")
        c = certificate(cn, k, serial, start, end, root, self.keys.get("root"), kind, crl)
        self.keys[label], self.certs[label] = k, c
        with open(os.path.join(PKI, label + ".pem"), "wb") as f:
            f.write(c.public_bytes(serialization.Encoding.PEM))
        with open(os.path.join(PKI, label + ".key"), "wb") as f:
            f.write(k.private_bytes(serialization.Encoding.PEM,
                                    serialization.PrivateFormat.PKCS8,
                                    serialization.NoEncryption()))

    def der(self, label):
        return self.certs[label].public_bytes(serialization.Encoding.DER)


# ---------------------------------------------------------------- tokens

def tlv(tag, body):
    n = len(body)
    if n < 0x80:
        head = bytes([n])
    else:
        size = n.to_bytes((n.bit_length() + 7) // 8, "big")
        head = bytes([0x80 | len(size)]) + size
    return bytes([tag]) + head + body


def oid(dotted):
    return core.ObjectIdentifier(dotted).dump()


def attribute(dotted, value_der):
    return cms.CMSAttribute.load(tlv(0x30, oid(dotted) + tlv(0x31, value_der)))


def sha256(data):
    return hashlib.sha256(data).digest()


class TimeStampResp(core.Sequence):
    # asn1crypto's own class makes the token mandatory; RFC 3161 has it OPTIONAL, and a status
    # other than granted is written here with a token all the same.
    _fields = [("status", tsp.PKIStatusInfo),
               ("time_stamp_token", cms.ContentInfo, {"optional": True})]


SERIALS = iter(range(1001, 10000))


def gen_time(text):
    return datetime.datetime.strptime(text, "%Y%m%d%H%M%SZ").replace(tzinfo=UTC)


def make_token(imprint_bytes, gen_time_text, digest="sha256", tsa="tsa", status=0,
               ess="right"):
    """A time-stamp token over the SHA-256 value imprint_bytes, dated gen_time_text
    (YYYYMMDDhhmmssZ), signed by the TSA of pki/ with RSA PKCS#1 v1.5 over `digest`.
    Returned as a TimeStampResp with that PKI status, or with status None as the bare
    ContentInfo of a ".tst". ess: "right" (signingCertificateV2 for SHA-256 tokens,
    signingCertificate for SHA-1 ones, as the two generations of TSAs wrote them), "wrong"
    (naming the root instead of the TSA) or None (no such attribute).
    The serial is the next of a counter whose hexadecimal text has only digits."""
    cert_der = PKI_OBJ.der(tsa)
    acert = ax.Certificate.load(cert_der)
    serial = int(str(next(SERIALS)), 16)
    info = tsp.TSTInfo({
        "version": "v1", "policy": POLICY,
        "message_imprint": {"hash_algorithm": {"algorithm": "sha256"},
                            "hashed_message": imprint_bytes},
        "serial_number": serial,
        "gen_time": core.GeneralizedTime(gen_time(gen_time_text)),
    })
    info_der = info.dump()
    assert info_der.find(gen_time_text.encode()) > 0
    hash_fn = hashlib.sha1 if digest == "sha1" else hashlib.sha256
    attrs = [attribute("1.2.840.113549.1.9.3", oid(ID_CT_TSTINFO)),
             attribute("1.2.840.113549.1.9.4", tlv(0x04, hash_fn(info_der).digest()))]
    if ess is not None:
        named = cert_der if ess == "right" else PKI_OBJ.der("root")
        issuer_serial = tsp.IssuerSerial({
            "issuer": [ax.GeneralName(name="directory_name", value=acert.issuer)],
            "serial_number": acert.serial_number}).dump()
        if digest == "sha1":
            cert_id = tlv(0x30, tlv(0x04, hashlib.sha1(named).digest()) + issuer_serial)
            attrs.append(attribute(SIGNING_CERTIFICATE, tlv(0x30, tlv(0x30, cert_id))))
        else:
            # The hash algorithm is SHA-256, the DEFAULT, so it is left out.
            cert_id = tlv(0x30, tlv(0x04, sha256(named)) + issuer_serial)
            attrs.append(attribute(SIGNING_CERTIFICATE_V2, tlv(0x30, tlv(0x30, cert_id))))
    signed = cms.CMSAttributes(attrs)
    signature = PKI_OBJ.keys[tsa].sign(signed.dump(), padding.PKCS1v15(),
                                       hashes.SHA1() if digest == "sha1" else hashes.SHA256())
    signer = cms.SignerInfo({
        "version": "v1",
        "sid": cms.SignerIdentifier(name="issuer_and_serial_number", value={
            "issuer": acert.issuer, "serial_number": acert.serial_number}),
        "digest_algorithm": {"algorithm": digest},
        "signed_attrs": signed,
        "signature_algorithm": {"algorithm": "rsassa_pkcs1v15"},
        "signature": signature})
    sd = cms.SignedData({
        "version": "v3",
        "digest_algorithms": [{"algorithm": digest}],
        "encap_content_info": {"content_type": ID_CT_TSTINFO,
                               "content": core.ParsableOctetString(info_der)},
        "certificates": [cms.CertificateChoices(name="certificate", value=acert)],
        "signer_infos": [signer]})
    token = cms.ContentInfo({"content_type": "signed_data", "content": sd})
    if status is None:
        return token.dump()
    return TimeStampResp({"status": {"status": status}, "time_stamp_token": token}).dump()


def token_of(tsr_der):
    return TimeStampResp.load(tsr_der)["time_stamp_token"].dump()


def tstinfo_of(token_der):
    info = cms.ContentInfo.load(token_der)
    return info["content"]["encap_content_info"]["content"].parsed


def imprint_text(token_der):
    """What the report shows as timeStampImprint: base64 of the whole MessageImprint."""
    return base64.b64encode(tstinfo_of(token_der)["message_imprint"].dump()).decode()


def openssl(*args, cwd=None):
    return subprocess.run(["openssl", *args], cwd=cwd or HERE, check=True,
                          capture_output=True).stdout


def openssl_ok(*args):
    return subprocess.run(["openssl", *args], cwd=HERE, capture_output=True).returncode == 0


def ts_verify(data_path, tsr_path, token=False):
    """openssl's own opinion of a token over a file: signature, ESS identifier, chain."""
    return openssl_ok("ts", "-verify", "-data", data_path, "-in", tsr_path,
                      *(["-token_in"] if token else []), "-CAfile", "pki/root.pem",
                      "-untrusted", "pki/tsa.pem")


TS_CONFIG = """[ tsa ]
default_tsa = tsa_config
[ tsa_config ]
serial = %(work)s/serial
signer_cert = %(pki)s/tsa.pem
signer_key = %(pki)s/tsa.key
signer_digest = %(digest)s
default_policy = %(policy)s
digests = sha256
accuracy = secs:1
ess_cert_id_alg = %(digest)s
"""


def openssl_time_stamp(data_path, out_tsr, out_tst=None, digest="sha256"):
    """A response (and optionally the bare token) made by `openssl ts` over a file; its genTime
    is the moment of the run, which the TSA certificate covers until 2099. With digest "sha1"
    the token is signed over SHA-1 and names its TSA by signingCertificate (version 1)."""
    with tempfile.TemporaryDirectory() as work:
        with open(os.path.join(work, "ts.cnf"), "w") as f:
            f.write(TS_CONFIG % {"work": work, "pki": PKI, "policy": POLICY, "digest": digest})
        with open(os.path.join(work, "serial"), "w") as f:
            f.write("0101\n")
        tsq = os.path.join(work, "q.tsq")
        openssl("ts", "-query", "-data", data_path, "-sha256", "-cert", "-out", tsq)
        openssl("ts", "-reply", "-config", os.path.join(work, "ts.cnf"), "-queryfile", tsq,
                "-out", out_tsr)
        if out_tst:
            openssl("ts", "-reply", "-config", os.path.join(work, "ts.cnf"), "-queryfile",
                    tsq, "-token_out", "-out", out_tst)


# ---------------------------------------------------------------- envelopes

def sign(out, signer, *extra, infile="document.txt"):
    openssl("cms", "-sign", "-binary", "-in", infile, "-signer", "pki/%s.pem" % signer,
            "-inkey", "pki/%s.key" % signer, "-nodetach", "-cades", "-outform", "DER",
            "-out", out, *extra)
    assert openssl_ok("cms", "-verify", "-binary", "-inform", "DER", "-in", out, "-CAfile",
                      "pki/root.pem", "-purpose", "any", "-no_check_time", "-out", "/dev/null")


def with_signature_time_stamp(src, out, gen_time_text, imprint_of=None, tokens=None):
    """The first signer of src with a signature time stamp (unsigned attribute) whose token
    imprints the SHA-256 of the signature value, or of imprint_of when given. tokens: a list
    of (gen_time_text, right_imprint) for several values in the one attribute, kept in that
    order (unsigned attributes are not signed, so the order of the SET is free to test)."""
    info = cms.ContentInfo.load(read(src))
    signer = info["content"]["signer_infos"][0]
    value = signer["signature"].native if imprint_of is None else imprint_of
    if tokens is None:
        values = make_token(sha256(value), gen_time_text, status=None)
    else:
        values = b"".join(make_token(sha256(value if right else DOCUMENT), t, status=None)
                          for t, right in tokens)
    raw = tlv(0x30, oid(SIGNATURE_TIME_STAMP) + tlv(0x31, values))
    der = bytearray(info.dump())
    # Splice the attribute in by hand after the signature, so that no encoder reorders the
    # values: [1] IMPLICIT unsigned attributes close the SignerInfo.
    signature = signer["signature"].dump()
    at = der.rfind(signature) + len(signature)
    assert at == len(der) and signer["unsigned_attrs"].native is None
    write(out, relength(bytes(der), tlv(0xA1, raw)))
    if tokens is not None:
        got = cms.ContentInfo.load(read(out))["content"]["signer_infos"][0]["unsigned_attrs"]
        assert [tstinfo_of(v.dump())["gen_time"].contents.decode() for v in got[0]["values"]] \
            == [t for t, _ in tokens]
    # The signature is untouched by the unsigned attribute: openssl still accepts it.
    assert openssl_ok("cms", "-verify", "-binary", "-inform", "DER", "-in", out, "-CAfile",
                      "pki/root.pem", "-purpose", "any", "-no_check_time", "-out", "/dev/null")


def relength(der, tail):
    """der with tail appended to its innermost last element, every enclosing length fixed:
    ContentInfo > [0] > SignedData > SET OF SignerInfo > last SignerInfo."""
    def parts(b):
        tag, first = b[0], b[1]
        if first < 0x80:
            return tag, 2, first
        n = first & 0x7F
        return tag, 2 + n, int.from_bytes(b[2:2 + n], "big")

    def grow(b, depth):
        tag, head, size = parts(b)
        body = b[head:head + size]
        assert head + size == len(b)
        if depth == 0:
            return tlv(tag, body + tail)
        # The last child of this element.
        pos = 0
        while True:
            _, h, n = parts(body[pos:])
            if pos + h + n == len(body):
                break
            pos += h + n
        return tlv(tag, body[:pos] + grow(body[pos:], depth - 1))

    return grow(der, 4)


def m7m(out, envelope, tsr, envelope_base64, linesep="\r\n"):
    """multipart/mixed: the envelope (binary or base64), then the response in base64.

    The email package rewrites line ends inside a binary body, which would corrupt DER, so a
    binary envelope goes in as a placeholder and the exact bytes replace it afterwards."""
    msg = MIMEMultipart("mixed", boundary=BOUNDARY)
    del msg["MIME-Version"]
    msg["Mime-Version"] = "1.0"
    placeholder = b"@@ENVELOPE@@"
    if envelope_base64:
        first = MIMEApplication(envelope, "pkcs7-mime")  # base64 by default
    else:
        first = MIMEApplication(placeholder, "pkcs7-mime", _encoder=encoders.encode_noop)
        first["Content-Transfer-Encoding"] = "binary"
    first.add_header("Content-Disposition", "attachment", filename="documento.txt.p7m")
    msg.attach(first)
    second = MIMEApplication(tsr, "timestamp-reply")
    second.add_header("Content-Disposition", "attachment", filename="documento.tsr")
    msg.attach(second)
    buf = io.BytesIO()
    BytesGenerator(buf, mangle_from_=False,
                   policy=email.policy.compat32.clone(linesep=linesep)).flatten(msg)
    text = buf.getvalue()
    if not envelope_base64:
        assert text.count(placeholder) == 1
        text = text.replace(placeholder, envelope)
    assert b"Mime-Version: 1.0" in text[:128]
    # Read back by the standard library: the two parts are what was put in.
    parsed = email.message_from_bytes(text)
    parts = parsed.get_payload()
    assert parts[1].get_payload(decode=True) == tsr
    if envelope_base64:
        assert parts[0].get_payload(decode=True) == envelope
    else:
        # The parser would rewrite the line ends as well: find the body by the boundary.
        nl = linesep.encode()
        body = text.split(nl + nl, 2)[2]
        assert body.split(nl + b"--" + BOUNDARY.encode())[0] == envelope
    write(out, text)


# ---------------------------------------------------------------- RFC 5544

class TimeStampAndCRL(core.Sequence):
    _fields = [("time_stamp", cms.ContentInfo),
               ("crl", core.Any, {"optional": True})]


class TimeStampTokenEvidence(core.SequenceOf):
    _child_spec = TimeStampAndCRL


class Evidence(core.Choice):
    _alternatives = [("tst_evidence", TimeStampTokenEvidence, {"implicit": 0})]


class MetaData(core.Sequence):
    _fields = [("hash_protected", core.Boolean), ("file_name", core.UTF8String,
                                                  {"optional": True}),
               ("media_type", core.IA5String, {"optional": True})]


class TimeStampedData(core.Sequence):
    _fields = [("version", core.Integer),
               ("data_uri", core.IA5String, {"optional": True}),
               ("meta_data", MetaData, {"optional": True}),
               ("content", core.OctetString, {"optional": True}),
               ("temporal_evidence", Evidence)]


def tsd(out, tokens, content=None, meta=None):
    """ContentInfo { id-ct-timestampedData, [0] EXPLICIT TimeStampedData } with one
    TimeStampAndCRL per token, in order."""
    fields = {"version": 1,
              "temporal_evidence": Evidence(name="tst_evidence", value=[
                  TimeStampAndCRL({"time_stamp": cms.ContentInfo.load(t)}) for t in tokens])}
    if content is not None:
        fields["content"] = content
    else:
        fields["data_uri"] = "file://document.txt"
    if meta is not None:
        fields["meta_data"] = meta
    body = TimeStampedData(fields).dump()
    write(out, tlv(0x30, oid(ID_CT_TSD) + tlv(0xA0, body)))


def check_tsd(out, covered):
    """Reads the file back and asks openssl whether entry i's token imprints covered[i]."""
    class TSDContentInfo(core.Sequence):
        _fields = [("content_type", core.ObjectIdentifier),
                   ("content", TimeStampedData, {"explicit": 0})]

    info = TSDContentInfo.load(read(out))
    assert info["content_type"].dotted == ID_CT_TSD
    stamped = info["content"]
    entries = stamped["temporal_evidence"].chosen
    assert len(entries) == len(covered)
    with tempfile.TemporaryDirectory() as work:
        for i, (entry, data) in enumerate(zip(entries, covered)):
            for fname, blob in (("t.tst", entry["time_stamp"].dump()), ("d.bin", data)):
                with open(os.path.join(work, fname), "wb") as f:
                    f.write(blob)
            assert openssl_ok("ts", "-verify", "-data", os.path.join(work, "d.bin"), "-in",
                              os.path.join(work, "t.tst"), "-token_in", "-CAfile",
                              "pki/root.pem", "-untrusted", "pki/tsa.pem"), (out, i)


def entry_der(token):
    return TimeStampAndCRL({"time_stamp": cms.ContentInfo.load(token)}).dump()


# ---------------------------------------------------------------- files and cases

def read(rel):
    with open(os.path.join(HERE, rel), "rb") as f:
        return f.read()


def write(rel, data):
    with open(os.path.join(HERE, rel), "wb") as f:
        f.write(data)


CASES = []


def case(name, file, statuses, messages="-", contains="-", lacks=None, **switches):
    CASES.append((name, file, statuses, messages, contains, lacks, switches))


def write_vec():
    lines = [
        "# What the report must hold for each file of gen_tsengine_data.py (do not edit: run the",
        "# script). The trust list holds pki/root.pem alone; pki/root.crl is served for",
        "# %s by the test's own transport." % CRL_URI,
        "#   file, detached, tsr: relative to tests/data/tsengine; the driver follows the file's",
        "#   type. time: verification time (UTCTime); july2011, august2010, sigcert: switches,",
        "#   the engine's defaults when absent (strong, on, and the token check off).",
        "#   statuses: every <status> in document order; messages: every <errorMessage>;",
        "#   contains / lacks: fragments of the flat report, \"|\" between them.",
    ]
    for name, file, statuses, messages, contains, lacks, switches in CASES:
        lines += ["", "[case]", "name = " + name, "file = " + file]
        for key in ("detached", "tsr", "time", "july2011", "august2010", "sigcert"):
            if key in switches:
                lines.append("%s = %s" % (key, switches[key]))
        lines += ["statuses = " + statuses, "messages = " + messages,
                  "contains = " + contains]
        if lacks:
            lines.append("lacks = " + lacks)
    with open(os.path.join(HERE, "tsengine.vec"), "w") as f:
        f.write("\n".join(lines) + "\n")


def date(t):
    return "<timeStampDate>%s</timeStampDate>" % t


NOT_VALID = "Marca Temporale non valida"
# A verification time for tokens that must pass the age rules whatever year the tests run in.
LATER = "250101000000Z"
TSA_SUBJECT = "<subject><C>IT</C><O>Sigilo Marche</O><CN>Marcatore Marche</CN></subject>"


def stand_alone_files():
    doc_hash = sha256(DOCUMENT)
    openssl_time_stamp(os.path.join(HERE, "document.txt"), os.path.join(HERE, "openssl.tsr"),
                       os.path.join(HERE, "openssl.tst"))
    assert ts_verify("document.txt", "openssl.tsr")
    tok = token_of(read("openssl.tsr"))
    case("openssl response over the detached document", "openssl.tsr", "OK",
         contains="<timeStamp filename=|detachedDocument=|" + TSA_SUBJECT +
         "|<certNotBefore>000101000000Z</certNotBefore>|<certificate>-----BEGIN CERTIFICATE-----"
         "|</certificate><timeStampSerial>|<timeStampImprintAlgorithm>2.16.840.1.101.3.4.2.1"
         "</timeStampImprintAlgorithm><timeStampImprint>%s</timeStampImprint><signedAttributes>"
         "|<signedAttributes><messageDigest/></signedAttributes><digestAlgorithm>"
         "2.16.840.1.101.3.4.2.1</digestAlgorithm><verificationTime>|</verificationTime>"
         "<status>OK</status></timeStamp>" % imprint_text(tok),
         lacks="<serial>|<certExpired>|<errorMessage>|<signingCertificateV2>",
         detached="document.txt")
    # The signing-certificate attribute of a token is read only when its check is on.
    case("the same response with the signing-certificate check on", "openssl.tsr", "OK",
         contains="<messageDigest/>|<signingCertificateV2>|</signedAttributes><digestAlgorithm>",
         detached="document.txt", sigcert=1)
    case("the same response with another detached document", "openssl.tsr", "KO",
         NOT_VALID, contains="<timeStampImprint>%s</timeStampImprint>" % imprint_text(tok),
         detached="other.txt")
    case("openssl bare token", "openssl.tst", "OK", contains="<timeStamp filename=|" +
         TSA_SUBJECT, detached="document.txt")
    case("openssl bare token with another detached document", "openssl.tst", "KO", NOT_VALID,
         detached="other.txt")
    # The same token as PEM text: the file is taken as PEM because it does not start with "0".
    body = base64.b64encode(read("openssl.tst")).decode()
    write("openssl.pem.tst", ("-----BEGIN PKCS7-----\n" + "".join(
        body[i:i + 64] + "\n" for i in range(0, len(body), 64)) +
        "-----END PKCS7-----\n").encode())
    assert openssl_ok("ts", "-verify", "-data", "document.txt", "-in", "openssl.tst",
                      "-token_in", "-CAfile", "pki/root.pem", "-untrusted", "pki/tsa.pem")
    case("the bare token in PEM", "openssl.pem.tst", "OK", contains="<timeStamp filename=|" +
         TSA_SUBJECT, detached="document.txt")

    granted = make_token(doc_hash, "20230301100000Z")
    write("granted.tsr", granted)
    # openssl as a SHA-1 TSA: a token of today is past the end of SHA-1 tokens in August 2010.
    openssl_time_stamp(os.path.join(HERE, "document.txt"), os.path.join(HERE, "openssl_sha1.tsr"),
                       digest="sha1")
    assert ts_verify("document.txt", "openssl_sha1.tsr")
    assert tstinfo_of(token_of(read("openssl_sha1.tsr")))  # a token is there
    case("openssl SHA-1 token of today", "openssl_sha1.tsr", "KO",
         "Marca Temporale non conforme alle regole tecniche DigitPA",
         contains="<digestAlgorithm>1.3.14.3.2.26</digestAlgorithm>", detached="document.txt")
    case("the same with the August 2010 rule off and its signingCertificate checked",
         "openssl_sha1.tsr", "OK", contains="<signingCertificate/>", detached="document.txt",
         august2010=0, sigcert=1)
    assert ts_verify("document.txt", "granted.tsr")
    case("asn1crypto response, granted", "granted.tsr", "OK",
         contains=date("20230301100000Z") + "|<timeStampSerial>", detached="document.txt",
         time=LATER)
    mods = TimeStampResp({"status": {"status": "granted_with_mods"},
                          "time_stamp_token": cms.ContentInfo.load(token_of(granted))}).dump()
    write("granted_mods.tsr", mods)
    case("a response granted with modifications is refused", "granted_mods.tsr", "KO",
         NOT_VALID, lacks="<timeStampDate>", detached="document.txt")

    write("noeku.tsr", make_token(doc_hash, "20230301100000Z", tsa="tsa_noeku"))
    case("a TSA certificate without the timeStamping usage", "noeku.tsr", "KO",
         "Chiave non abilitata alla marcatura temporale",
         contains="<CN>Marcatore Senza Uso</CN>", detached="document.txt")

    # A detached document in base64 text: the first digest (over the text) misses, the
    # second (over the decoded DER) matches. The DER is the openssl token, which starts with
    # 0x30 0x82, so its base64 starts with "M".
    blob = read("openssl.tst")
    assert blob[:2] == b"\x30\x82"
    write("blob.b64", base64.b64encode(blob))
    write("blob_b64.tsr", make_token(sha256(blob), "20230301100000Z"))
    case("a base64 detached document matches at the second comparison", "blob_b64.tsr", "OK",
         detached="blob.b64", time=LATER)
    case("the same token with the DER itself as the detached document", "blob_b64.tsr",
         "OK", detached="openssl.tst", time=LATER)
    case("the same token against a document whose text is no base64", "blob_b64.tsr", "KO",
         NOT_VALID, detached="document.txt")

    resp = TimeStampResp.load(read("granted.tsr"))
    si = resp["time_stamp_token"]["content"]["signer_infos"][0]
    sig = bytearray(si["signature"].native)
    sig[20] ^= 0x01
    si["signature"] = bytes(sig)
    write("tampered.tsr", resp.dump(force=True))
    assert not ts_verify("document.txt", "tampered.tsr")
    case("tampered token signature", "tampered.tsr", "KO", "Marca Temporale non verificata",
         contains=date("20230301100000Z"), detached="document.txt")
    # The TSTInfo changed after signing: its digest no longer matches messageDigest.
    resp = TimeStampResp.load(read("granted.tsr"))
    info_der = bytearray(tstinfo_of(resp["time_stamp_token"].dump()).dump())
    at = info_der.find(b"20230301100000Z")
    info_der[at + 3] = ord("4")
    resp["time_stamp_token"]["content"]["encap_content_info"]["content"] = \
        core.ParsableOctetString(bytes(info_der))
    write("tampered_date.tsr", resp.dump(force=True))
    case("genTime changed after signing", "tampered_date.tsr", "KO",
         "Marca Temporale non verificata", contains=date("20240301100000Z"),
         detached="document.txt")

    write("no_ess.tsr", make_token(doc_hash, "20230301100000Z", ess=None))
    case("a token without signing-certificate attribute, check on", "no_ess.tsr", "KO",
         "Attributo SigningCertificate non presente", detached="document.txt", sigcert=1)
    case("the same with the check off, as it is by default", "no_ess.tsr", "OK",
         detached="document.txt", time=LATER)
    write("wrong_ess.tsr", make_token(doc_hash, "20230301100000Z", ess="wrong"))
    assert not ts_verify("document.txt", "wrong_ess.tsr")
    case("signingCertificateV2 naming another certificate, check on", "wrong_ess.tsr", "KO",
         "L'attributo SigningCertificateV2 non identifica il firmatario",
         detached="document.txt", sigcert=1)
    case("the same with the check off", "wrong_ess.tsr", "OK", lacks="<signingCertificateV2>",
         detached="document.txt", sigcert=0, time=LATER)

    # The TSA's certificate is judged at the token's genTime, never at the verification time.
    write("tsa_old_2012.tsr", make_token(doc_hash, "20120301100000Z", tsa="tsa_old"))
    case("TSA certificate expired since, token within its validity", "tsa_old_2012.tsr", "OK",
         contains="<CN>Marcatore Cessato</CN>|<certExpired>150101000000Z</certExpired>",
         detached="document.txt", time=LATER)
    write("tsa_old_2016.tsr", make_token(doc_hash, "20160301100000Z", tsa="tsa_old"))
    case("token dated after its TSA certificate expired", "tsa_old_2016.tsr", "KO",
         "Certificato di Marca scaduto", lacks="<certExpired>", detached="document.txt",
         time=LATER)
    write("tsa_old_2009.tsr", make_token(doc_hash, "20090601100000Z", tsa="tsa_old"))
    case("token dated before its TSA certificate was valid", "tsa_old_2009.tsr", "KO",
         "Certificato del Firmatario non ancora valido", detached="document.txt",
         time="090701000000Z")
    write("tsa_ancient.tsr", make_token(doc_hash, "20080601100000Z", tsa="tsa_ancient"))
    case("TSA certificate expired before the CRLs kept expired certificates",
         "tsa_ancient.tsr", "KO", "Stato del certificato di marcatura non disponibile",
         lacks="<certExpired>", detached="document.txt", time="090101000000Z")


def age_files():
    """Stand-alone tokens judged by the conservation rules (28 April 2004 onwards, 5 years
    until 4 December 2004, then 20) and the August 2010 end of SHA-1 tokens."""
    doc_hash = sha256(DOCUMENT)

    def token(label, gen, digest="sha256"):
        fname = "age_%s.tsr" % label
        write(fname, make_token(doc_hash, gen, digest=digest))
        assert ts_verify("document.txt", fname)
        return fname

    f = token("20040315", "20040315120000Z")
    case("genTime before the conservation duty", f, "KO",
         "Marca Temporale senza obbligo di conservazione", contains=date("20040315120000Z"),
         lacks="<verificationTime>", detached="document.txt")
    f = token("20040427_215959", "20040427215959Z")
    case("one second before the conservation duty", f, "KO",
         "Marca Temporale senza obbligo di conservazione", detached="document.txt",
         time="090401000000Z")
    f = token("20040427_220000", "20040427220000Z")
    case("the first second of the conservation duty, within 5 years", f, "OK",
         contains="<verificationTime>090401000000Z</verificationTime>",
         detached="document.txt", time="090401000000Z")
    f = token("20041120", "20041120120000Z")
    case("November 2004 token the day before its 5 years end", f, "OK",
         detached="document.txt", time="091119120000Z")
    case("November 2004 token the day after its 5 years end", f, "KO",
         "Marca Temporale scaduta",
         contains="<verificationTime>091121120000Z</verificationTime><errorMessage>",
         detached="document.txt", time="091121120000Z")
    f = token("20041203_225959", "20041203225959Z")
    case("the last second of the 5-year rule", f, "KO", "Marca Temporale scaduta",
         detached="document.txt", time="100101000000Z")
    f = token("20041203_230000", "20041203230000Z")
    case("the first second of the 20-year rule", f, "OK", detached="document.txt",
         time="100101000000Z")
    f = token("20050601", "20050601120000Z")
    case("2005 token verified now: its 20 years ended in 2025", f, "KO",
         "Marca Temporale scaduta", contains="<verificationTime>", detached="document.txt")
    case("2005 token verified in 2020", f, "OK",
         contains="<verificationTime>200101000000Z</verificationTime>",
         detached="document.txt", time="200101000000Z")

    f = token("sha1_20100830_215959", "20100830215959Z", digest="sha1")
    case("SHA-1 token one second before the end of August 2010", f, "OK",
         contains="<digestAlgorithm>1.3.14.3.2.26</digestAlgorithm>",
         detached="document.txt", time=LATER)
    case("the same with its signingCertificate (SHA-1) checked", f, "OK",
         contains="<signingCertificate/>", detached="document.txt", time=LATER, sigcert=1)
    f = token("sha1_20100830_220000", "20100830220000Z", digest="sha1")
    case("SHA-1 token at the end of August 2010", f, "KO",
         "Marca Temporale non conforme alle regole tecniche DigitPA",
         contains="<digestAlgorithm>1.3.14.3.2.26</digestAlgorithm><errorMessage>",
         detached="document.txt")
    case("the same with the August 2010 rule off", f, "OK", detached="document.txt",
         august2010=0, time=LATER)
    case("the August 2010 rule does not depend on the verification time", f, "KO",
         "Marca Temporale non conforme alle regole tecniche DigitPA", detached="document.txt",
         time="100101000000Z")


def cades_files():
    """CAdES envelopes with a signature time stamp: the token's genTime is the signer's
    reference time."""
    sign("good.p7m", "good")
    sign("expired.p7m", "expired")
    sign("revoked.p7m", "revoked")
    sign("held.p7m", "held")
    sign("expired_sha1.p7m", "expired", "-md", "sha1")

    def stamped(src, out, gen, **kw):
        with_signature_time_stamp(src, out, gen, **kw)
        return out

    f = stamped("good.p7m", "t_good_2023.p7m", "20230301100000Z")
    case("CAdES-T, good signer", f, "OK|OK",
         contains="<signer cadesCompliant=\"true\">|<signatureTimeStamp>" + TSA_SUBJECT +
         "|" + date("20230301100000Z") + "|</signatureTimeStamp><digestAlgorithm>"
         "2.16.840.1.101.3.4.2.1</digestAlgorithm><status>OK</status></signer>",
         lacks="<verificationTime>|<errorMessage>")
    f = stamped("good.p7m", "t_wrong_imprint.p7m", "20230301100000Z", imprint_of=DOCUMENT)
    case("CAdES-T whose token imprints something else", f, "KO|KO",
         NOT_VALID + "|" + NOT_VALID,
         contains="<errorMessage>Marca Temporale non valida</errorMessage><status>KO</status>"
         "</signatureTimeStamp>", lacks="<verificationTime>")
    f = stamped("revoked.p7m", "t_revoked_2020.p7m", "20200301100000Z")
    case("revoked in June 2021, token of 2020", f, "OK|OK",
         contains="<crlThisUpdate>240101000000Z</crlThisUpdate>|<crlRevocationDate>"
         "210601000000Z</crlRevocationDate>")
    f = stamped("revoked.p7m", "t_revoked_2022.p7m", "20220301100000Z")
    case("revoked in June 2021, token of 2022", f, "OK|KO",
         "Certificato del Firmatario revocato",
         contains="<crlRevocationDate>210601000000Z</crlRevocationDate>")
    f = stamped("held.p7m", "t_held_2021.p7m", "20210301100000Z")
    case("on hold since June 2022, token of 2021", f, "OK|OK",
         contains="<crlHoldDate>220601000000Z</crlHoldDate>")
    f = stamped("held.p7m", "t_held_2023.p7m", "20230301100000Z")
    case("on hold since June 2022, token of 2023", f, "OK|KO",
         "Certificato del Firmatario sospeso",
         contains="<crlHoldDate>220601000000Z</crlHoldDate>")
    f = stamped("expired.p7m", "t_expired_2011.p7m", "20110301100000Z")
    case("expired at the end of 2011, token of March 2011", f, "OK|OK",
         contains="<certExpired>120101000000Z</certExpired><status>OK</status>",
         lacks="<verificationTime>")
    f = stamped("expired.p7m", "t_expired_2013.p7m", "20130301100000Z")
    case("expired at the end of 2011, token of 2013", f, "OK|KO",
         "Certificato del Firmatario scaduto", lacks="<certExpired>")
    f = stamped("expired_sha1.p7m", "t_sha1_20110630_2100.p7m", "20110630210000Z")
    case("SHA-1 signer, token at 23:00 of 30 June 2011 in Italy", f, "OK|OK",
         contains="<signer cadesCompliant=\"false\">|<digestAlgorithm>1.3.14.3.2.26"
         "</digestAlgorithm>|<certExpired>120101000000Z</certExpired>")
    f = stamped("expired_sha1.p7m", "t_sha1_20110630_2200.p7m", "20110630220000Z")
    case("SHA-1 signer, token one hour later", f, "OK|KO",
         "Firma non valida in quanto apposta dopo il 30 giugno 2011")
    case("the same with the July 2011 rule off", f, "OK|OK",
         contains="<certExpired>120101000000Z</certExpired>", july2011=0)
    # Several tokens in one attribute: each is reported, the last one decides the signer.
    f = stamped("good.p7m", "t_two_last_good.p7m", None,
                tokens=[("20220301100000Z", False), ("20230301100000Z", True)])
    case("two signature tokens, the first wrong: the last one counts", f, "KO|OK|OK",
         NOT_VALID, contains="</signatureTimeStamp><signatureTimeStamp>")
    f = stamped("good.p7m", "t_two_last_wrong.p7m", None,
                tokens=[("20220301100000Z", True), ("20230301100000Z", False)])
    case("two signature tokens, the last wrong", f, "OK|KO|KO", NOT_VALID + "|" + NOT_VALID)
    f = stamped("revoked.p7m", "t_two_revoked.p7m", None,
                tokens=[("20200301100000Z", True), ("20220301100000Z", True)])
    case("two good signature tokens: the time of the last one judges the revocation", f,
         "OK|OK|KO", "Certificato del Firmatario revocato")
    f = stamped("good.p7m", "t_good_2003.p7m", "20030601100000Z")
    case("a 2003 token inside a signature is not held to the 2004 duty", f, "OK|OK",
         contains=date("20030601100000Z"), lacks="<verificationTime>|<errorMessage>")
    f = stamped("good.p7m", "t_good_2005.p7m", "20050601100000Z")
    case("a 2005 token inside a signature does not expire", f, "OK|OK",
         contains=date("20050601100000Z"), lacks="<errorMessage>")


def m7m_files():
    """Envelope and time stamp side by side: the token imprints the envelope as sent."""
    good = read("good.p7m")
    openssl_time_stamp(os.path.join(HERE, "good.p7m"), os.path.join(HERE, "good_p7m.tsr"))
    assert ts_verify("good.p7m", "good_p7m.tsr")
    m7m("good_binary.m7m", good, read("good_p7m.tsr"), envelope_base64=False)
    case("M7M, binary envelope, openssl response", "good_binary.m7m", "OK|OK",
         contains="filetype=\"M7M file\"|<signer cadesCompliant=\"true\">|</signer>"
         "</signedData><timeStamp>|<verificationTime>",
         lacks="<errorMessage>")
    m7m("good_binary_lf.m7m", good, read("good_p7m.tsr"), envelope_base64=False, linesep="\n")
    case("M7M with bare line feeds", "good_binary_lf.m7m", "OK|OK",
         contains="filetype=\"M7M file\"|</signedData><timeStamp>", lacks="<errorMessage>")
    m7m("good_base64.m7m", good, make_token(sha256(good), "20230301100000Z"),
        envelope_base64=True)
    case("M7M, base64 envelope: the imprint covers the decoded DER", "good_base64.m7m",
         "OK|OK", contains="filetype=\"M7M file\"|<verificationTime>20230301100000Z"
         "</verificationTime>|</signedData><timeStamp>|" + date("20230301100000Z"),
         lacks="<errorMessage>")
    m7m("wrong_token.m7m", good, make_token(sha256(OTHER), "20230301100000Z"),
        envelope_base64=False)
    case("M7M whose token imprints other bytes", "wrong_token.m7m", "OK|KO", NOT_VALID,
         contains="</signedData><timeStamp>")
    sha1 = read("expired_sha1.p7m")
    m7m("sha1_2011.m7m", sha1, make_token(sha256(sha1), "20110301100000Z"),
        envelope_base64=False)
    case("M7M of a SHA-1 signer of 2010, token of March 2011", "sha1_2011.m7m", "OK|OK",
         contains="<digestAlgorithm>1.3.14.3.2.26</digestAlgorithm>|<verificationTime>"
         "20110301100000Z</verificationTime>|<certExpired>120101000000Z</certExpired>")
    m7m("sha1_201107.m7m", sha1, make_token(sha256(sha1), "20110701100000Z"),
        envelope_base64=True)
    case("M7M of a SHA-1 signer of 2010, token of July 2011", "sha1_201107.m7m", "KO|OK",
         "Firma non valida in quanto apposta dopo il 30 giugno 2011")

    write("detached_tsr.tsr", make_token(sha256(good), "20230301100000Z"))
    case("PKCS#7 with its response in another file", "good.p7m", "OK|OK",
         contains="</signedData><timeStamp>|<verificationTime>20230301100000Z"
         "</verificationTime>", lacks="filetype=", tsr="detached_tsr.tsr")
    # granted.tsr imprints document.txt, not the envelope.
    case("PKCS#7 with a response made for another file", "good.p7m", "OK|KO", NOT_VALID,
         tsr="granted.tsr")


def tsd_files():
    plain_token = make_token(sha256(DOCUMENT), "20230301100000Z", status=None)
    tsd("plain.tsd", [plain_token], content=DOCUMENT)
    check_tsd("plain.tsd", [DOCUMENT])
    case("TSD with plain content", "plain.tsd", "OK",
         contains="<timeStamp filename=|filetype=\"TSD file\"|" + date("20230301100000Z"),
         lacks="<signedData|<verificationTime>")
    good = read("good.p7m")
    tsd("signed.tsd", [make_token(sha256(good), "20230301100000Z", status=None)],
        content=good)
    check_tsd("signed.tsd", [good])
    case("TSD holding a CAdES envelope", "signed.tsd", "OK|OK",
         contains="<signedData filename=|filetype=\"TSD file\"|<CN>Firmatario Buono</CN>|"
         "</signedData><timeStamp>|<verificationTime>20230301100000Z</verificationTime>")
    tsd("detached.tsd", [plain_token])
    check_tsd("detached.tsd", [DOCUMENT])
    case("TSD without content, the document given apart", "detached.tsd", "OK",
         contains="filetype=\"TSD file\"|<timeStamp><subject>|<verificationTime>"
         "250101000000Z</verificationTime>", detached="document.txt", time=LATER)
    case("TSD without content, another document", "detached.tsd", "KO", NOT_VALID,
         detached="other.txt")

    protected = MetaData({"hash_protected": True, "file_name": "document.txt",
                          "media_type": "text/plain"})
    tsd("hash_protected.tsd", [make_token(sha256(protected.dump() + DOCUMENT),
                                          "20230301100000Z", status=None)],
        content=DOCUMENT, meta=protected)
    check_tsd("hash_protected.tsd", [protected.dump() + DOCUMENT])
    case("hash-protected metadata: the imprint covers metadata and content",
         "hash_protected.tsd", "OK")
    tsd("hash_protected_wrong.tsd", [plain_token], content=DOCUMENT, meta=protected)
    case("hash-protected metadata with a token over the content alone",
         "hash_protected_wrong.tsd", "KO", NOT_VALID)
    unprotected = MetaData({"hash_protected": False, "file_name": "document.txt"})
    tsd("unprotected.tsd", [plain_token], content=DOCUMENT, meta=unprotected)
    case("metadata not hash-protected: the imprint covers the content", "unprotected.tsd",
         "OK")

    renewal = make_token(sha256(entry_der(plain_token)), "20240301100000Z", status=None)
    tsd("renewal.tsd", [plain_token, renewal], content=DOCUMENT)
    check_tsd("renewal.tsd", [DOCUMENT, entry_der(plain_token)])
    # The pass over the second entry checks the first token again, against the DER of the
    # entry before: that cannot match, whatever the second token holds.
    case("renewal: the nested pass re-checks the first token", "renewal.tsd", "OK|KO",
         NOT_VALID, contains="<status>OK</status><timeStamp>|</timeStamp></timeStamp>")


def main():
    global PKI_OBJ
    for fname in os.listdir(HERE):
        if fname.endswith((".tsr", ".tst", ".p7m", ".m7m", ".tsd", ".b64", ".vec")):
            os.remove(os.path.join(HERE, fname))
    PKI_OBJ = Pki()
    write("document.txt", DOCUMENT)
    write("other.txt", OTHER)
    stand_alone_files()
    age_files()
    cades_files()
    m7m_files()
    tsd_files()
    write_vec()


PKI_OBJ = None

if __name__ == "__main__":
    main()
