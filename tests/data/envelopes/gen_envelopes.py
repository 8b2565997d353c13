#!/usr/bin/python3
"""Envelopes written by `openssl cms` and `openssl smime` in their variants, and the facts a
reader must find in each, read back by asn1crypto (envelopes.vec).

Run from this directory: /usr/bin/python3 gen_envelopes.py
"""
import hashlib
import os
import subprocess
import tempfile

from asn1crypto import cms, parser, pem, tsp

HERE = os.path.dirname(os.path.abspath(__file__))
CONTENT = b"Sigilo: documento di prova.\n" * 3


def run(*args, cwd, data=None):
    return subprocess.run(args, cwd=cwd, check=True, input=data, capture_output=True).stdout


def make_pki(work):
    ext = os.path.join(work, "ext.cnf")
    with open(ext, "w") as f:
        f.write("[ca]\nbasicConstraints=critical,CA:true\nkeyUsage=critical,keyCertSign,cRLSign\n"
                "subjectKeyIdentifier=hash\n"
                "[ee]\nbasicConstraints=CA:false\nkeyUsage=critical,digitalSignature,"
                "nonRepudiation\nextendedKeyUsage=emailProtection\nsubjectKeyIdentifier=hash\n"
                "authorityKeyIdentifier=keyid\n")
    run("openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out",
        "ca.csr", "-subj", "/C=IT/O=Sigilo Test/CN=Envelope CA", cwd=work)
    run("openssl", "x509", "-req", "-in", "ca.csr", "-signkey", "ca.key", "-out", "ca.pem",
        "-days", "36500", "-extfile", ext, "-extensions", "ca", "-set_serial", "1", cwd=work)
    for n, serial in (("one", "4097"), ("two", "4098")):
        run("openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", n + ".key",
            "-out", n + ".csr", "-subj", "/C=IT/O=Sigilo Test/CN=Signer " + n, cwd=work)
        run("openssl", "x509", "-req", "-in", n + ".csr", "-CA", "ca.pem", "-CAkey", "ca.key",
            "-out", n + ".pem", "-days", "36500", "-extfile", ext, "-extensions", "ee",
            "-set_serial", serial, cwd=work)
    # A CRL of the CA, for -crlfile.
    with open(os.path.join(work, "crl.cnf"), "w") as f:
        f.write("[ca]\ndefault_ca=d\n[d]\ndatabase=index.txt\ndefault_md=sha256\n"
                "default_crl_days=30\n")
    open(os.path.join(work, "index.txt"), "w").close()
    run("openssl", "ca", "-gencrl", "-config", "crl.cnf", "-keyfile", "ca.key", "-cert",
        "ca.pem", "-out", "crl.pem", cwd=work)


def cms_sign(work, out, *extra, signer="one", infile="doc.txt"):
    run("openssl", "cms", "-sign", "-binary", "-in", infile, "-signer", signer + ".pem",
        "-inkey", signer + ".key", "-out", out, *extra, cwd=work)


def describe(name, data):
    """What a reader must find, by asn1crypto's reading."""
    if pem.detect(data):
        _, _, der = pem.unarmor(data)
    else:
        der = data
    info = cms.ContentInfo.load(der)
    sd = info["content"]
    encap = sd["encap_content_info"]
    content = encap["content"].native if encap["content"].native is not None else None
    certs = sd["certificates"].native if sd["certificates"].native is not None else []
    crls = sd["crls"].native if sd["crls"].native is not None else []
    facts = [("name", name), ("pem", "yes" if der is not data else "no"),
             ("indefinite", "yes" if b"\x80" == der[1:2] else "no"),
             ("version", str(sd["version"].native)[1:]),
             ("family", "pkcs7" if sd["version"].native == "v1" else "cms"),
             ("digest_algorithms", ",".join(a["algorithm"].dotted for a in sd["digest_algorithms"])),
             ("content_sha256", hashlib.sha256(content).hexdigest() if content is not None else "-"),
             ("certificates", str(len(certs))), ("crls", str(len(crls))),
             ("signers", str(len(sd["signer_infos"])))]
    for i, si in enumerate(sd["signer_infos"], 1):
        sid = si["sid"]
        if sid.name == "issuer_and_serial_number":
            facts.append(("signer%d_serial" % i, "%X" % sid.chosen["serial_number"].native))
            facts.append(("signer%d_key_id" % i, "-"))
        else:
            facts.append(("signer%d_serial" % i, "-"))
            facts.append(("signer%d_key_id" % i, sid.chosen.native.hex()))
        signed = si["signed_attrs"]
        facts.append(("signer%d_signed_attrs" % i,
                      ",".join(a["type"].dotted for a in signed) if len(signed) else "-"))
        unsigned = si["unsigned_attrs"]
        facts.append(("signer%d_unsigned_attrs" % i,
                      ",".join(a["type"].dotted for a in unsigned)
                      if unsigned.native is not None else "-"))
        v2 = [a for a in signed if a["type"].dotted == "1.2.840.113549.1.9.16.2.47"]
        facts.append(("signer%d_ess_v2_hash" % i,
                      tsp.SigningCertificateV2.load(v2[0]["values"][0].dump())["certs"][0]["cert_hash"]
                      .native.hex() if v2 else "-"))
    return facts


def tlv(tag, contents):
    n = len(contents)
    if n < 0x80:
        length = bytes([n])
    else:
        body = n.to_bytes((n.bit_length() + 7) // 8, "big")
        length = bytes([0x80 | len(body)]) + body
    return bytes([tag]) + length + contents


def elements(contents):
    """(first tag byte, contents, whole element) of each element, by asn1crypto's parser."""
    out = []
    while contents:
        _, _, _, header, inner, trailer = parser.parse(contents)
        out.append((header[0], inner, header + inner + trailer))
        contents = contents[len(header) + len(inner) + len(trailer):]
    return out


def explicit_certificates(der):
    """The envelope with its IMPLICIT [0] certificates rewritten as [0] { SET { ... } }."""
    _, _, _, _, info_contents, _ = parser.parse(der)
    oid, content = elements(info_contents)
    _, _, _, _, signed_data, _ = parser.parse(content[1])
    parts = []
    for tag, inner, whole in elements(signed_data):
        parts.append(tlv(0xA0, tlv(0x31, inner)) if tag == 0xA0 else whole)
    return tlv(0x30, oid[2] + tlv(0xA0, tlv(0x30, b"".join(parts))))


def main():
    files = {}
    with tempfile.TemporaryDirectory() as work:
        make_pki(work)
        with open(os.path.join(work, "doc.txt"), "wb") as f:
            f.write(CONTENT)
        variants = [
            ("attached.p7m", ["-nodetach", "-outform", "DER"]),
            ("attached_pem.p7m", ["-nodetach", "-outform", "PEM"]),
            ("detached.p7s", ["-outform", "DER"]),
            ("stream.p7m", ["-nodetach", "-stream", "-outform", "DER"]),
            ("keyid.p7m", ["-nodetach", "-keyid", "-outform", "DER"]),
            ("cades.p7m", ["-nodetach", "-cades", "-outform", "DER"]),
            ("sha1.p7m", ["-nodetach", "-md", "sha1", "-outform", "DER"]),
            ("certfile.p7m", ["-nodetach", "-certfile", "ca.pem", "-outform", "DER"]),
            ("nocerts.p7m", ["-nodetach", "-nocerts", "-outform", "DER"]),
        ]
        for name, extra in variants:
            cms_sign(work, name, *extra)
        # A second signer added to an existing envelope.
        run("openssl", "cms", "-resign", "-binary", "-inform", "DER", "-in", "attached.p7m",
            "-signer", "two.pem", "-inkey", "two.key", "-nodetach", "-outform", "DER",
            "-out", "two_signers.p7m", cwd=work)
        run("openssl", "smime", "-sign", "-binary", "-nodetach", "-in", "doc.txt", "-signer",
            "one.pem", "-inkey", "one.key", "-outform", "DER", "-out", "smime.p7m", cwd=work)
        run("openssl", "smime", "-sign", "-binary", "-in", "doc.txt", "-signer", "one.pem",
            "-inkey", "one.key", "-outform", "DER", "-out", "smime_detached.p7s", cwd=work)
        # A degenerate envelope with certificates and a CRL and no signer.
        run("openssl", "crl2pkcs7", "-in", "crl.pem", "-certfile", "ca.pem", "-certfile",
            "one.pem", "-outform", "DER", "-out", "certs_crl.p7b", cwd=work)
        names = [n for n, _ in variants] + ["two_signers.p7m", "smime.p7m", "smime_detached.p7s",
                                            "certs_crl.p7b"]
        for name in names:
            with open(os.path.join(work, name), "rb") as f:
                files[name] = f.read()
        # The certificate set under an EXPLICIT [0] around a universal SET, as some tools wrote.
        files["explicit_certs.p7m"] = explicit_certificates(files["keyid.p7m"])
        for name in ("one.pem", "two.pem", "ca.pem"):
            with open(os.path.join(work, name), "rb") as f:
                files[name] = f.read()
    for name, data in files.items():
        with open(os.path.join(HERE, name), "wb") as f:
            f.write(data)
    lines = ["# Envelopes by openssl and what asn1crypto reads in each. Made by gen_envelopes.py.",
             "# Serials in upper-case hex; '-' for none.", ""]
    for name in sorted(files):
        if name.endswith(".pem") and name != "attached_pem.p7m":
            continue
        lines.append("[envelope]")
        # asn1crypto refuses the EXPLICIT set; it holds what the envelope it came from holds.
        source = files["keyid.p7m"] if name == "explicit_certs.p7m" else files[name]
        for key, value in describe(name, source):
            lines.append("%s = %s" % (key, value))
        lines.append("")
    with open(os.path.join(HERE, "envelopes.vec"), "w") as f:
        f.write("\n".join(lines))


if __name__ == "__main__":
    main()
