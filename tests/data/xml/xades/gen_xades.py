#!/usr/bin/python3
"""Signed XML documents for the verifier's end-to-end tests, made by independent tools under the
engine's test PKI (../../engine/pki, valid to 2099, with an expired, a revoked and an untrusted
signer on purpose):

- xadesjs (npm, through sign_xades.js) for XAdES-BES, with SHA-256 and SHA-1, a certificate
  digest that names another certificate, and a counter-signature;
- openssl ts with the test TSA for the signature time stamp of XAdES-T, over the canonical
  SignatureValue computed by lxml;
- xmlsec1 for plain XML DSig with the certificate in KeyInfo;
- copies changed by one edit each (content, signed properties, signature value);
- CAdES envelopes made by openssl cms around the XAdES document and around the unsigned one.

Every good file is checked by `xmlsec1 --verify` against the test root. Run from this folder:
    NODE_PATH=/path/to/node_modules /usr/bin/python3 gen_xades.py
"""
import base64
import json
import os
import subprocess

from lxml import etree

HERE = os.path.dirname(os.path.abspath(__file__))
PKI = os.path.join(HERE, "..", "..", "engine", "pki")
DS = "http://www.w3.org/2000/09/xmldsig#"
XADES = "http://uri.etsi.org/01903/v1.3.2#"


def run(*args, **kw):
    return subprocess.run(args, cwd=HERE, check=True, capture_output=True, **kw)


def pki(name):
    return os.path.join(PKI, name)


def xades(out, signer, source="document.xml", **options):
    run("node", "sign_xades.js", source, out, pki(signer + ".key"), pki(signer + ".pem"),
        json.dumps(options))


def xmlsec_ok(path, *extra):
    run("xmlsec1", "--verify", *extra, "--id-attr:Id", DS + ":KeyInfo", "--id-attr:Id",
        XADES + ":SignedProperties", "--id-attr:Id", DS + ":SignatureValue",
        "--trusted-pem", pki("root.pem"), "--trusted-pem", pki("other_root.pem"),
        "--verification-time", "2024-06-01+00:00:00", path)


def edit(source, out, old, new):
    with open(os.path.join(HERE, source), "rb") as f:
        data = f.read()
    assert data.count(old) == 1, (source, old)
    with open(os.path.join(HERE, out), "wb") as f:
        f.write(data.replace(old, new))


TS_CONFIG = """
[ tsa ]
default_tsa = tsa_config
[ tsa_config ]
serial = ts_serial
signer_digest = sha256
default_policy = 1.3.6.1.4.1.99999.7
digests = sha256
accuracy = secs:1
ess_cert_id_alg = sha256
"""


def time_stamp(data):
    """A TimeStampToken (ContentInfo) over the bytes, from openssl ts with the test TSA."""
    with open(os.path.join(HERE, "ts.cnf"), "w") as f:
        f.write(TS_CONFIG)
    with open(os.path.join(HERE, "ts_serial"), "w") as f:
        f.write("01\n")
    with open(os.path.join(HERE, "ts_data.bin"), "wb") as f:
        f.write(data)
    try:
        run("openssl", "ts", "-query", "-data", "ts_data.bin", "-sha256", "-cert", "-out",
            "ts.tsq")
        run("openssl", "ts", "-reply", "-config", "ts.cnf", "-queryfile", "ts.tsq", "-signer",
            pki("tsa.pem"), "-inkey", pki("tsa.key"), "-token_out", "-out", "ts.tst")
        with open(os.path.join(HERE, "ts.tst"), "rb") as f:
            return f.read()
    finally:
        for n in ("ts.cnf", "ts_serial", "ts_serial.old", "ts_data.bin", "ts.tsq", "ts.tst"):
            if os.path.exists(os.path.join(HERE, n)):
                os.remove(os.path.join(HERE, n))


def add_time_stamp(source, out, stamped=None):
    """XAdES-T: a SignatureTimeStamp over the canonical (C14N 1.0) SignatureValue element, or
    over other bytes when stamped is given."""
    tree = etree.parse(os.path.join(HERE, source))
    value = tree.find(".//{%s}SignatureValue" % DS)
    covered = etree.tostring(value, method="c14n")
    token = time_stamp(stamped if stamped is not None else covered)
    qp = tree.find(".//{%s}QualifyingProperties" % XADES)
    up = etree.SubElement(qp, "{%s}UnsignedProperties" % XADES)
    usp = etree.SubElement(up, "{%s}UnsignedSignatureProperties" % XADES)
    ts = etree.SubElement(usp, "{%s}SignatureTimeStamp" % XADES, Id="marca-1")
    etree.SubElement(ts, "{%s}CanonicalizationMethod" % DS,
                     Algorithm="http://www.w3.org/TR/2001/REC-xml-c14n-20010315")
    etree.SubElement(ts, "{%s}EncapsulatedTimeStamp" % XADES).text = \
        base64.b64encode(token).decode()
    tree.write(os.path.join(HERE, out), xml_declaration=True, encoding="UTF-8")


def twin_certificate():
    """A certificate with the good signer's issuer and serial but a key of its own: a
    SigningCertificate naming it carries the wrong digest."""
    run("openssl", "genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:2048", "-out",
        "twin.key")
    run("openssl", "req", "-new", "-key", "twin.key", "-subj",
        "/C=IT/O=Sigilo Motore/CN=Firmatario Buono", "-out", "twin.csr")
    run("openssl", "x509", "-req", "-in", "twin.csr", "-CA", pki("root.pem"), "-CAkey",
        pki("root.key"), "-set_serial", "16", "-days", "3650", "-out", "twin.pem")
    os.remove(os.path.join(HERE, "twin.csr"))
    os.remove(os.path.join(HERE, "twin.key"))


DSIG_TEMPLATE = """<?xml version="1.0" encoding="UTF-8"?>
<documento xmlns="urn:sigilo:prova"><titolo>Delibera di prova</titolo><testo>Il consiglio approva il bilancio.</testo><Signature xmlns="http://www.w3.org/2000/09/xmldsig#">
<SignedInfo>
<CanonicalizationMethod Algorithm="http://www.w3.org/TR/2001/REC-xml-c14n-20010315"/>
<SignatureMethod Algorithm="http://www.w3.org/{sigalg}"/>
<Reference URI="">
<Transforms><Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/></Transforms>
<DigestMethod Algorithm="http://www.w3.org/{digalg}"/>
<DigestValue/>
</Reference>
</SignedInfo>
<SignatureValue/>
<KeyInfo><X509Data><X509Certificate/></X509Data></KeyInfo>
</Signature></documento>
"""


def dsig(out, sigalg, digalg):
    with open(os.path.join(HERE, "dsig.tmpl"), "w") as f:
        f.write(DSIG_TEMPLATE.format(sigalg=sigalg, digalg=digalg))
    run("xmlsec1", "--sign", "--privkey-pem", pki("good.key") + "," + pki("good.pem"),
        "--output", out, "dsig.tmpl")
    os.remove(os.path.join(HERE, "dsig.tmpl"))


def main():
    xades("bes.xml", "good", keyInfoRef=True)
    xades("bes_sha1.xml", "good", keyInfoRef=True, hash="SHA-1")
    xades("bes_plain.xml", "good")
    xades("expired.xml", "expired", keyInfoRef=True)
    xades("revoked.xml", "revoked", keyInfoRef=True)
    xades("untrusted.xml", "stranger", keyInfoRef=True)
    twin_certificate()
    xades("wrong_cert_digest.xml", "good", keyInfoRef=True, signingCert="twin.pem")
    os.remove(os.path.join(HERE, "twin.pem"))
    # Two signatures side by side, each over an element of its own: an untrusted one over the
    # text, then a good one over the title. (xadesjs reads an enveloped-signature transform as
    # leaving out every signature, so a second one over the whole document would not be what
    # other tools check.)
    edit("document.xml", "document_ids.xml", b"<testo>", b'<testo Id="testo-1">')
    edit("document_ids.xml", "document_ids.xml", b"<titolo>", b'<titolo Id="titolo-1">')
    xades("first_untrusted.xml", "stranger", source="document_ids.xml", keyInfoRef=True,
          uri="#testo-1")
    xades("two_signers.xml", "good", source="first_untrusted.xml", keyInfoRef=True,
          id="firma-2", uri="#titolo-1")
    os.remove(os.path.join(HERE, "first_untrusted.xml"))
    # The counter-signed document has no default namespace: xadesjs digests the signed
    # properties of a counter-signature as if they stood alone, which only then is how they read
    # in place.
    edit("document.xml", "document_nons.xml", b' xmlns="urn:sigilo:prova"', b"")
    xades("countersigned_parent.xml", "good", source="document_nons.xml", keyInfoRef=True)
    xades("countersigned.xml", "counter", source="countersigned_parent.xml", keyInfoRef=True,
          id="controfirma-1", counterOf=True)
    for n in ("countersigned_parent.xml", "document_nons.xml"):
        os.remove(os.path.join(HERE, n))
    add_time_stamp("bes.xml", "xades_t.xml")
    add_time_stamp("bes.xml", "xades_t_bad.xml", stamped=b"altro contenuto")
    dsig("dsig_sha256.xml", "2001/04/xmldsig-more#rsa-sha256", "2001/04/xmlenc#sha256")
    dsig("dsig_sha1.xml", "2000/09/xmldsig#rsa-sha1", "2000/09/xmldsig#sha1")
    for good in ("bes.xml", "bes_sha1.xml", "bes_plain.xml", "untrusted.xml", "countersigned.xml",
                 "xades_t.xml", "dsig_sha256.xml", "dsig_sha1.xml"):
        xmlsec_ok(good)
    xmlsec_ok("two_signers.xml", "--id-attr:Id", "testo")
    xmlsec_ok("countersigned.xml", "--id-attr:Id", DS + ":Signature", "--node-id",
              "controfirma-1")
    xmlsec_ok("two_signers.xml", "--id-attr:Id", DS + ":Signature", "--id-attr:Id", "titolo",
              "--node-id", "firma-2")

    for inner in ("bes.xml", "document.xml"):
        run("openssl", "cms", "-sign", "-binary", "-nodetach", "-cades", "-in", inner, "-signer",
            pki("good.pem"), "-inkey", pki("good.key"), "-outform", "DER", "-out", inner + ".p7m")

    edit("bes.xml", "tampered_content.xml", b"il bilancio", b"il bilancia")
    edit("bes.xml", "tampered_properties.xml", b"2024-03-01T10:00:00.000Z",
         b"2024-03-02T10:00:00.000Z")
    tree = etree.parse(os.path.join(HERE, "bes.xml"))
    value = tree.find(".//{%s}SignatureValue" % DS).text
    changed = ("B" if value[10] != "B" else "C")
    edit("bes.xml", "tampered_value.xml", value.encode(),
         (value[:10] + changed + value[11:]).encode())


if __name__ == "__main__":
    main()
