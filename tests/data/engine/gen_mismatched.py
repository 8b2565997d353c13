"""Files whose one length byte was changed so that a constructed value's declared definite
length no longer matches the children inside it, and the originals they come from.

lengths_cert.der is a self-signed certificate by `openssl req -x509`; its variants have the
TBSCertificate one byte longer (tbs_long) or shorter (tbs_short), or the Validity one byte
longer (validity_long). The envelope variants start from cades.p7m (gen_engine_data.py, signed
by `openssl cms`): the signed attributes one byte shorter (attrs_short) or longer (attrs_long)
than the attributes in them, or the signer certificate's TBSCertificate one byte longer
(cert_tbs_long). Each variant keeps every other byte, and openssl must refuse it, which this
script checks (asn1parse, then x509 or cms -verify).
"""
import os
import subprocess
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))


def openssl(*args):
    return subprocess.run(["openssl", *args], cwd=HERE, capture_output=True)


def header(d, i):
    """(tag, start of content, content length, index of the last length byte)"""
    first = d[i + 1]
    if first < 0x80:
        return d[i], i + 2, first, i + 1
    n = first & 0x7F
    return d[i], i + 2 + n, int.from_bytes(d[i + 2:i + 2 + n], "big"), i + 1 + n


def children(d, i):
    """Offsets of the children of the definite value at i."""
    _, start, length, _ = header(d, i)
    out, at = [], start
    while at < start + length:
        out.append(at)
        _, s, l, _ = header(d, at)
        at = s + l
    return out


def changed(d, i, delta):
    """d with the last length byte of the value at i moved by delta."""
    _, _, _, at = header(d, i)
    assert 0 < d[at] + delta < 0x80 or header(d, i)[1] - i > 2, "length byte at an edge"
    assert 0 <= d[at] + delta <= 0xFF
    out = bytearray(d)
    out[at] += delta
    return bytes(out)


def write(name, data):
    with open(os.path.join(HERE, name), "wb") as f:
        f.write(data)
    # openssl's own walk of the encoding already finds the mismatch.
    assert openssl("asn1parse", "-inform", "DER", "-in", name).returncode != 0, name


with tempfile.TemporaryDirectory() as tmp:
    r = openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "36500", "-subj",
                "/CN=Lunghezze/O=Sigilo", "-keyout", os.path.join(tmp, "k.pem"), "-outform",
                "DER", "-out", os.path.join(HERE, "lengths_cert.der"))
    assert r.returncode == 0, r.stderr
cert = open(os.path.join(HERE, "lengths_cert.der"), "rb").read()
tbs = children(cert, 0)[0]
validity = children(cert, tbs)[4]
assert cert[validity] == 0x30 and cert[children(cert, validity)[0]] in (0x17, 0x18)
variants = {
    "lengths_cert_tbs_long.der": changed(cert, tbs, 1),
    "lengths_cert_tbs_short.der": changed(cert, tbs, -1),
    "lengths_cert_validity_long.der": changed(cert, validity, 1),
}
for name, data in variants.items():
    write(name, data)
    assert openssl("x509", "-inform", "DER", "-in", name, "-noout").returncode != 0, name

envelope = open(os.path.join(HERE, "cades.p7m"), "rb").read()
signed = children(envelope, 0)[1]
signed_data = children(envelope, signed)[0]
parts = children(envelope, signed_data)
certs = [p for p in parts if envelope[p] == 0xA0][0]
signer_cert = children(envelope, certs)[0]
signer_infos = [p for p in parts if envelope[p] == 0x31][-1]
signer_info = children(envelope, signer_infos)[0]
attrs = [p for p in children(envelope, signer_info) if envelope[p] == 0xA0][0]
variants = {
    "lengths_attrs_short.p7m": changed(envelope, attrs, -1),
    "lengths_attrs_long.p7m": changed(envelope, attrs, 1),
    "lengths_cert_tbs_long.p7m": changed(envelope, children(envelope, signer_cert)[0], 1),
}
assert openssl("cms", "-verify", "-noverify", "-inform", "DER", "-in", "cades.p7m", "-out",
               os.devnull).returncode == 0
for name, data in variants.items():
    write(name, data)
    assert openssl("cms", "-verify", "-noverify", "-inform", "DER", "-in", name, "-out",
                   os.devnull).returncode != 0, name
