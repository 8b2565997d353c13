#!/usr/bin/python3
"""Seeds the corpora of the verification server's readers: requests as a client sends them
(server_request) and replies as a server sends them (server_reply), each in the wire form of a
four-byte length and XML text, around the certificates of tests/data/engine/pki."""
import base64
import hashlib
import os
import struct

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
PKI = os.path.join(ROOT, "tests", "data", "engine", "pki")


def write(target, data):
    folder = os.path.join(ROOT, "fuzz", "corpus", target)
    os.makedirs(folder, exist_ok=True)
    name = hashlib.sha256(data).hexdigest()[:16]
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def framed(text):
    data = text.encode()
    return struct.pack(">I", len(data)) + data


def cert_base64(name):
    pem = open(os.path.join(PKI, name)).read()
    body = pem.split("-----")[2]
    return "".join(body.split())


good = cert_base64("good.pem")
tsa = cert_base64("tsa.pem")

requests = [
    "<sigiloRequest><opCode>100</opCode></sigiloRequest>",
    "<sigiloRequest><opCode>101</opCode><cert>%s</cert></sigiloRequest>" % good,
    "<sigiloRequest><opCode>102</opCode><skipCheckCRL/><skipCheckCACRL/><skipOCSP/>"
    "<skipCertValidityCheck/><cert>%s</cert></sigiloRequest>" % tsa,
    "<?xml version=\"1.0\"?>\n<sigiloRequest>\n  <opCode> 101 </opCode>\n  <cert>%s</cert>\n"
    "</sigiloRequest>\n" % good,
    "<sigiloRequest><opCode>103</opCode></sigiloRequest>",
    "<sigiloRequest><opCode>101</opCode></sigiloRequest>",
    "<other><opCode>100</opCode></other>",
]
for text in requests:
    write("server_request", framed(text))
write("server_request", b"\x00\x00\x00\x00")
write("server_request", b"\xff\xff\xff\xff<a/>")
write("server_request", framed(requests[1])[:40])

replies = [
    '<sigiloResponse release="3.3.15" downloadCRL="2"/>',
    '<sigiloResponse release="x" downloadCRL="7"/>',
    "<sigiloResponse><errorCode>0</errorCode><crlThisUpdate>240101000000Z</crlThisUpdate>"
    "<caCertExpired>20991231000000Z</caCertExpired></sigiloResponse>",
    "<sigiloResponse><errorCode>1408</errorCode><crlThisUpdate>240101000000Z</crlThisUpdate>"
    "<crlRevocationDate>210601000000Z</crlRevocationDate>"
    "<expiredCertsOnCRL>20200101000000Z</expiredCertsOnCRL></sigiloResponse>",
    "<sigiloResponse><errorCode>1429</errorCode><ocspThisUpdate>20240101000000Z</ocspThisUpdate>"
    "<ocspHoldDate>20220601000000Z</ocspHoldDate><ocspInvalidSince>20220501000000Z"
    "</ocspInvalidSince></sigiloResponse>",
    "<sigiloResponse><errorCode>1407</errorCode><crlExpired>210101000000Z</crlExpired>"
    "<caCertRevoked>200101000000Z</caCertRevoked></sigiloResponse>",
    "<sigiloResponse><errorCode>140A</errorCode></sigiloResponse>",
    "<sigiloResponse><crlThisUpdate>240101000000Z</crlThisUpdate></sigiloResponse>",
]
for text in replies:
    write("server_reply", framed(text))
write("server_reply", b"HTTP/1.0 200 OK\r\n\r\n")
