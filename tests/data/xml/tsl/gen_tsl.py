#!/usr/bin/python3
"""Trust lists in the ETSI TS 119 612 shape, signed by xmlsec1, for the signed import:

- operator.pem/.key: the list operator, self-signed (so also allowed to sign certificates, which
  the path check asks of a trusted certificate), valid to 2099;
- other_operator.pem: another such certificate, the wrong signer;
- tsl_signed.xml: two providers (the engine's test root and the time-stamp engine's root),
  signed enveloped with the KeyInfo covered by a second reference;
- tsl_changed.xml: one byte of a provider's name changed;
- tsl_wrapped.xml: the signature moved before the providers, with a provider list of another
  root inside an Object of the signature, which the enveloped signature does not cover. Its
  signature still verifies, which xmlsec1 confirms.

Run from this folder: /usr/bin/python3 gen_tsl.py
"""
import base64
import os
import subprocess

from lxml import etree

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = os.path.join(HERE, "..", "..")
DS = "http://www.w3.org/2000/09/xmldsig#"
TSL = "http://uri.etsi.org/02231/v2#"


def run(*args):
    return subprocess.run(args, cwd=HERE, check=True, capture_output=True)


def operator(name, cn):
    run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", name + ".key",
        "-out", name + ".pem", "-days", "27000", "-subj",
        "/C=IT/O=Sigilo Liste/CN=" + cn, "-addext",
        "keyUsage=critical,digitalSignature,nonRepudiation,keyCertSign,cRLSign", "-addext",
        "basicConstraints=critical,CA:TRUE", "-set_serial", "7")


def body(path):
    with open(path) as f:
        return "".join(l.strip() for l in f if not l.startswith("-----"))


def provider(name, cert):
    return """<TrustServiceProvider><TSPInformation><TSPName><Name xml:lang="it">%s</Name></TSPName></TSPInformation>
<TSPServices><TSPService><ServiceInformation>
<ServiceTypeIdentifier>http://uri.etsi.org/TrstSvc/Svctype/CA/QC</ServiceTypeIdentifier>
<ServiceName><Name xml:lang="it">%s</Name></ServiceName>
<ServiceDigitalIdentity><DigitalId><X509Certificate>%s</X509Certificate></DigitalId></ServiceDigitalIdentity>
<ServiceStatus>http://uri.etsi.org/TrstSvc/TrustedList/Svcstatus/granted</ServiceStatus>
</ServiceInformation></TSPService></TSPServices></TrustServiceProvider>
""" % (name, name, body(cert))


TEMPLATE = """<?xml version="1.0" encoding="UTF-8"?>
<TrustServiceStatusList xmlns="http://uri.etsi.org/02231/v2#" xmlns:ds="http://www.w3.org/2000/09/xmldsig#" Id="lista" TSLTag="http://uri.etsi.org/19612/TSLTag">
<SchemeInformation><TSLVersionIdentifier>5</TSLVersionIdentifier><TSLSequenceNumber>1</TSLSequenceNumber>
<SchemeTerritory>IT</SchemeTerritory><ListIssueDateTime>2024-01-01T00:00:00Z</ListIssueDateTime></SchemeInformation>
<TrustServiceProviderList>
%s</TrustServiceProviderList>
<ds:Signature Id="firma-lista">
<ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
<ds:SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/>
<ds:Reference URI="">
<ds:Transforms><ds:Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/><ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms>
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/>
</ds:Reference>
<ds:Reference URI="#chiave-lista">
<ds:Transforms><ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms>
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/>
</ds:Reference>
</ds:SignedInfo>
<ds:SignatureValue/>
<ds:KeyInfo Id="chiave-lista"><ds:X509Data><ds:X509Certificate/></ds:X509Data></ds:KeyInfo>
</ds:Signature>
</TrustServiceStatusList>
"""

XMLSEC_IDS = ["--id-attr:Id", DS + ":KeyInfo"]


def main():
    operator("operator", "Gestore Lista di Prova")
    operator("other_operator", "Altro Gestore")
    os.remove(os.path.join(HERE, "other_operator.key"))
    providers = (provider("Prestatore Motore", os.path.join(DATA, "engine", "pki", "root.pem")) +
                 provider("Prestatore Marche", os.path.join(DATA, "tsengine", "pki", "root.pem")))
    with open(os.path.join(HERE, "tsl.tmpl"), "w") as f:
        f.write(TEMPLATE % providers)
    run("xmlsec1", "--sign", *XMLSEC_IDS, "--privkey-pem", "operator.key,operator.pem",
        "--output", "tsl_signed.xml", "tsl.tmpl")
    os.remove(os.path.join(HERE, "tsl.tmpl"))
    run("xmlsec1", "--verify", *XMLSEC_IDS, "--pubkey-cert-pem", "operator.pem",
        "tsl_signed.xml")

    with open(os.path.join(HERE, "tsl_signed.xml"), "rb") as f:
        signed = f.read()
    assert signed.count(b"Prestatore Marche</Name></TSPName>") == 1
    with open(os.path.join(HERE, "tsl_changed.xml"), "wb") as f:
        f.write(signed.replace(b"Prestatore Marche</Name></TSPName>",
                               b"Prestatore Marchi</Name></TSPName>"))

    # The wrapped list: whitespace is kept as it stood, so the enveloped reference still holds.
    tree = etree.parse(os.path.join(HERE, "tsl_signed.xml"))
    root = tree.getroot()
    signature = root.find("{%s}Signature" % DS)
    tail = signature.tail
    previous = signature.getprevious()
    previous.tail = (previous.tail or "") + (tail or "")
    root.remove(signature)
    signature.tail = None
    obj = etree.SubElement(signature, "{%s}Object" % DS)
    fake = etree.SubElement(obj, "{%s}TrustServiceProviderList" % TSL)
    fake.append(etree.fromstring(
        '<TrustServiceProvider xmlns="%s">' % TSL +
        provider("Prestatore Estraneo",
                 os.path.join(DATA, "engine", "pki", "other_root.pem"))[len("<TrustServiceProvider>"):]))
    first = root[0]
    root.insert(0, signature)
    signature.tail = ""
    tree.write(os.path.join(HERE, "tsl_wrapped.xml"), xml_declaration=True, encoding="UTF-8")
    run("xmlsec1", "--verify", *XMLSEC_IDS, "--pubkey-cert-pem", "operator.pem",
        "tsl_wrapped.xml")


if __name__ == "__main__":
    main()
