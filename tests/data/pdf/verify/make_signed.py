#!/usr/bin/python3
"""Signed PDFs for the verification tests, made without Sigilo.

The document is tests/data/pdf/base.pdf (pikepdf). Each signature is appended as an incremental
update written here by hand: a signature dictionary with a /Contents gap, a signature field and
the catalog with its /AcroForm; pikepdf reads the revision before to find the catalog and the
fields. The signed ranges are then hashed and signed by:
  - openssl cms (ETSI.CAdES.detached with -cades, adbe.pkcs7.sha1 over the SHA-1 of the ranges),
  - python cryptography (adbe.x509.rsa_sha1, PKCS#1 over SHA-1 with the DigestInfo),
  - openssl pkeyutl (adbe.x509.rsa_sha1 whose PKCS#1 block holds the bare SHA-1),
  - openssl ts (a signature time stamp, added to the CMS signer with asn1crypto, and a document
    time stamp under /SubFilter /ETSI.RFC3161, a kind the verifier passes over).
The signers are those of the engine test PKI (tests/data/engine/pki), whose root and CRL the tests
trust and serve. The files made by @signpdf (npm) come from sign_signpdf.js; make_signed.sh runs
both.

Run: /usr/bin/python3 make_signed.py <output folder>
"""
import hashlib
import io
import os
import re
import subprocess
import sys
import tempfile

import pikepdf
from asn1crypto import cms, core
from cryptography import x509
from cryptography.hazmat.primitives import hashes, serialization
from cryptography.hazmat.primitives.asymmetric import padding

HERE = os.path.dirname(os.path.abspath(__file__))
PKI = os.path.join(HERE, "..", "..", "engine", "pki")
BASE = os.path.join(HERE, "..", "base.pdf")
GAP = 6000  # bytes of room for the signature in /Contents

TS_CONFIG = """
[ tsa ]
default_tsa = tsa_config
[ tsa_config ]
serial = {serial}
signer_digest = sha256
default_policy = 1.3.6.1.4.1.99999.7
digests = sha256
accuracy = secs:1
ess_cert_id_alg = sha256
"""


def pem(name):
    return os.path.join(PKI, name + ".pem")


def key(name):
    return os.path.join(PKI, name + ".key")


def run(*args, data=None):
    return subprocess.run(list(args), input=data, check=True, capture_output=True).stdout


def openssl_cms(ranges, signer, *extra):
    with tempfile.TemporaryDirectory() as tmp:
        src = os.path.join(tmp, "in.bin")
        with open(src, "wb") as f:
            f.write(ranges)
        return run("openssl", "cms", "-sign", "-binary", "-in", src, "-signer", pem(signer),
                   "-inkey", key(signer), "-outform", "DER", *extra)


def time_stamp_token(value):
    """An RFC 3161 token over the bytes, by openssl ts with the test TSA."""
    with tempfile.TemporaryDirectory() as tmp:
        serial = os.path.join(tmp, "serial")
        with open(serial, "w") as f:
            f.write("07\n")
        conf = os.path.join(tmp, "ts.cnf")
        with open(conf, "w") as f:
            f.write(TS_CONFIG.format(serial=serial))
        data = os.path.join(tmp, "data.bin")
        with open(data, "wb") as f:
            f.write(value)
        query = os.path.join(tmp, "q.tsq")
        token = os.path.join(tmp, "t.tok")
        run("openssl", "ts", "-query", "-data", data, "-sha256", "-cert", "-out", query)
        run("openssl", "ts", "-reply", "-config", conf, "-queryfile", query, "-signer",
            pem("tsa"), "-inkey", key("tsa"), "-token_out", "-out", token)
        return open(token, "rb").read()


# ---- Signers: each takes the bytes of the ranges and gives the /Contents bytes ----

def cades(signer="good", md="sha256"):
    return lambda ranges: openssl_cms(ranges, signer, "-cades", "-md", md)


def cades_with_time_stamp(signer="good"):
    def sign(ranges):
        info = cms.ContentInfo.load(openssl_cms(ranges, signer, "-cades"))
        signer_info = info["content"]["signer_infos"][0]
        token = cms.ContentInfo.load(time_stamp_token(signer_info["signature"].native))
        signer_info["unsigned_attrs"] = cms.CMSAttributes([cms.CMSAttribute({
            "type": "signature_time_stamp_token", "values": [token]})])
        return info.dump(force=True)
    return sign


def pkcs7_sha1(signer="good"):
    # The signer signs the SHA-1 of the ranges, carried as the envelope's content.
    return lambda ranges: openssl_cms(hashlib.sha1(ranges).digest(), signer, "-nodetach",
                                      "-md", "sha1")


def rsa_sha1(signer="good"):
    def sign(ranges):
        k = serialization.load_pem_private_key(open(key(signer), "rb").read(), None)
        return core.OctetString(k.sign(ranges, padding.PKCS1v15(), hashes.SHA1())).dump()
    return sign


def rsa_sha1_bare_digest(signer="good"):
    # pkeyutl with no digest set pads the 20 bytes as they are: no DigestInfo in the block.
    def sign(ranges):
        value = run("openssl", "pkeyutl", "-sign", "-inkey", key(signer),
                    data=hashlib.sha1(ranges).digest())
        return core.OctetString(value).dump()
    return sign


def document_time_stamp(ranges):
    return time_stamp_token(ranges)


def cert_der(signer):
    c = x509.load_pem_x509_certificate(open(pem(signer), "rb").read())
    return c.public_bytes(serialization.Encoding.DER)


# ---- Incremental updates ----

def last_startxref(data):
    at = data.rindex(b"startxref")
    return int(data[at + 9:].split()[0])


def append_signature(data, sub_filter, sign, name, cert=None, shorten=0, sign_shortened=True):
    """data with one more revision holding a signed signature field. shorten takes bytes off
    the end of the second range (a signature that leaves the document's tail out)."""
    pdf = pikepdf.open(io.BytesIO(data))
    root = pdf.trailer.Root
    root_number = root.objgen[0]
    size = int(pdf.trailer.Size)
    fields = []
    if "/AcroForm" in root and "/Fields" in root.AcroForm:
        fields = [f.objgen[0] for f in root.AcroForm.Fields]
    catalog = root.unparse(resolved=True)
    catalog = re.sub(rb"/AcroForm\s*\d+ \d+ R", b"", catalog)
    catalog = re.sub(rb"/AcroForm\s*<<.*?>>\s*(?=/|>>$)", b"", catalog, flags=re.S)
    pdf.close()

    sig_number, field_number = size, size + 1
    fields.append(field_number)
    out = bytearray(data if data.endswith(b"\n") else data + b"\n")
    offsets = {}
    offsets[sig_number] = len(out)
    cert_entry = b"/Cert <" + cert.hex().encode() + b"> " if cert else b""
    out += (b"%d 0 obj\n<< /Type /Sig /Filter /Adobe.PPKLite /SubFilter /%s %s"
            b"/ByteRange [0 0000000000 0000000000 0000000000] /Contents <%s> "
            b"/M (D:20240506070809Z) /Name (%s) /Reason (Prova di firma) >>\nendobj\n"
            % (sig_number, sub_filter.encode(), cert_entry, b"0" * (2 * GAP), name.encode()))
    offsets[field_number] = len(out)
    out += (b"%d 0 obj\n<< /FT /Sig /Type /Annot /Subtype /Widget /Rect [0 0 0 0] /F 132 "
            b"/T (%s) /V %d 0 R >>\nendobj\n" % (field_number, name.encode(), sig_number))
    offsets[root_number] = len(out)
    acro = b"/AcroForm << /Fields [" + b" ".join(b"%d 0 R" % f for f in fields) + \
        b"] /SigFlags 3 >>"
    out += b"%d 0 obj\n%s %s >>\nendobj\n" % (root_number, catalog[:-2].rstrip(), acro)
    xref = len(out)
    out += b"xref\n0 1\n0000000000 65535 f \n"
    for number in sorted(offsets):
        out += b"%d 1\n%010d 00000 n \n" % (number, offsets[number])
    out += b"trailer\n<< /Size %d /Root %d 0 R /Prev %d >>\nstartxref\n%d\n%%%%EOF\n" % (
        size + 2, root_number, last_startxref(data), xref)

    start = out.index(b"/Contents <", offsets[sig_number]) + len(b"/Contents ")
    end = start + 2 * GAP + 2
    second = len(out) - end - shorten
    byte_range = b"[0 %010d %010d %010d]" % (start, end, second)
    at = out.index(b"[0 0000000000 0000000000 0000000000]", offsets[sig_number])
    out[at:at + len(byte_range)] = byte_range
    ranges = bytes(out[:start]) + bytes(out[end:end + second])
    if not sign_shortened:
        ranges = bytes(out[:start]) + bytes(out[end:])
    value = sign(ranges).hex().encode()
    assert len(value) <= 2 * GAP, "signature larger than its gap"
    out[start + 1:start + 1 + len(value)] = value
    return bytes(out)


def append_revision(data):
    """A later revision that changes the document's title and nothing signed."""
    pdf = pikepdf.open(io.BytesIO(data))
    size = int(pdf.trailer.Size)
    root_number = pdf.trailer.Root.objgen[0]
    pdf.close()
    out = bytearray(data)
    offset = len(out)
    out += b"%d 0 obj\n<< /Title (Titolo cambiato dopo la firma) >>\nendobj\n" % size
    xref = len(out)
    out += b"xref\n0 1\n0000000000 65535 f \n%d 1\n%010d 00000 n \n" % (size, offset)
    out += b"trailer\n<< /Size %d /Root %d 0 R /Info %d 0 R /Prev %d >>\nstartxref\n%d\n" \
           b"%%%%EOF\n" % (size + 1, root_number, size, last_startxref(data), xref)
    return bytes(out)


def main(out_dir):
    base = open(BASE, "rb").read()
    made = {}

    def write(name, data):
        made[name] = data
        with open(os.path.join(out_dir, name), "wb") as f:
            f.write(data)

    write("cades.pdf", append_signature(base, "ETSI.CAdES.detached", cades(), "Firma CAdES"))
    write("cades-cms.pdf", append_signature(
        base, "ETSI.CAdES.detached",
        lambda r: openssl_cms(r, "good", "-cades", "-keyid"), "Firma CAdES CMS"))
    write("cades-twice.pdf", append_signature(
        made["cades.pdf"], "ETSI.CAdES.detached", cades("second"), "Seconda firma"))
    write("cades-timestamp.pdf", append_signature(
        base, "ETSI.CAdES.detached", cades_with_time_stamp(), "Firma marcata"))
    write("pkcs7-sha1.pdf", append_signature(base, "adbe.pkcs7.sha1", pkcs7_sha1(), "Firma SHA1"))
    write("rsa-sha1.pdf", append_signature(base, "adbe.x509.rsa_sha1", rsa_sha1(), "Firma RSA",
                                           cert=cert_der("good")))
    write("rsa-sha1-bare.pdf", append_signature(
        base, "adbe.x509.rsa_sha1", rsa_sha1_bare_digest(), "Firma RSA nuda",
        cert=cert_der("good")))
    write("rsa-sha1-revoked.pdf", append_signature(
        base, "adbe.x509.rsa_sha1", rsa_sha1("revoked"), "Firma RSA revocata",
        cert=cert_der("revoked")))
    # A SHA-1 signer whose certificate runs from 2010 to 2012: judged around 1 July 2011.
    write("cades-sha1-2011.pdf", append_signature(
        base, "ETSI.CAdES.detached", cades("expired", "sha1"), "Firma SHA1 2011"))
    write("cades-revoked.pdf", append_signature(
        base, "ETSI.CAdES.detached", cades("revoked"), "Firma revocata"))
    write("cades-stranger.pdf", append_signature(
        base, "ETSI.CAdES.detached", cades("stranger"), "Firma estranea"))
    write("cades-then-revision.pdf", append_revision(made["cades.pdf"]))
    # Ranges that leave the last 40 bytes out, signed as they are.
    write("cades-partial.pdf", append_signature(
        base, "ETSI.CAdES.detached", cades(), "Firma parziale", shorten=40))
    write("unknown-subfilter.pdf", append_signature(
        made["cades.pdf"], "ETSI.RFC3161", document_time_stamp, "Marca del documento"))
    tampered = bytearray(made["cades.pdf"])
    at = tampered.index(b"/Title (Sigilo test document)") + len(b"/Title (S")
    tampered[at] ^= 0x20
    write("cades-tampered.pdf", bytes(tampered))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else HERE)
