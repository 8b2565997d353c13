#!/usr/bin/python3
"""Seeds the corpora of the network readers (http_reply, http_body, ldap_message) with answers
as servers send them: HTTP replies around the CRLs of tests/data/net (DER, base64, PEM, a page
with a link, a redirect, long header lines), and LDAP messages encoded here by hand (binds,
searches, entries with a CRL, results with referrals and controls)."""
import base64
import hashlib
import os

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
NET = os.path.join(ROOT, "tests", "data", "net")


def write(target, data):
    folder = os.path.join(ROOT, "fuzz", "corpus", target)
    os.makedirs(folder, exist_ok=True)
    name = hashlib.sha256(data).hexdigest()[:16]
    with open(os.path.join(folder, name), "wb") as f:
        f.write(data)


def read(name):
    with open(os.path.join(NET, name), "rb") as f:
        return f.read()


crl = read("crl_current.der")
stale = read("crl_stale.der")
pem = read("crl_current.pem")


def reply(status, headers, body):
    head = "HTTP/1.0 %s\r\n" % status + "".join("%s: %s\r\n" % h for h in headers) + "\r\n"
    return head.encode() + body


bodies = [crl, stale, base64.encodebytes(crl), pem,
          b"<html><a href='/crl/root.crl'>CRL</a></html>",
          b"<html><a href=\"http://127.0.0.1/x.crl\">x</a></html>", b"<html>none</html>"]
for body in bodies:
    write("http_body", body)
replies = [
    reply("200 OK", [("Content-Type", "application/pkix-crl"), ("Content-Length", len(crl)),
                     ("Last-Modified", "Mon, 01 Jan 2024 00:00:00 GMT")], crl),
    reply("200 OK", [("Content-Type", "text/plain")], base64.encodebytes(crl)),
    reply("200 OK", [("Content-Type", "text/plain")], pem),
    reply("200 OK", [("Content-Type", "text/html"), ("Content-Length", 44)],
          b"<html><a href='/crl/root.crl'>CRL</a></html>"),
    reply("302 Found", [("Location", "http://127.0.0.1:8080/crl/root.crl")], b""),
    reply("404 Not Found", [("Content-Type", "text/plain")], b""),
    reply("200 OK", [("X-Filler-%02d" % i, "x" * 90) for i in range(35)], crl),
    b"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
]
for r in replies:
    write("http_reply", r)


def length(n):
    if n < 0x80:
        return bytes([n])
    body = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def tlv(tag, content):
    return bytes([tag]) + length(len(content)) + content


def message(ident, op, controls=b""):
    return tlv(0x30, tlv(0x02, bytes([ident])) + op + controls)


def result(tag, code=0, referral=b""):
    return tlv(tag, tlv(0x0A, bytes([code])) + tlv(0x04, b"") + tlv(0x04, b"ok") + referral)


entry = tlv(0x64, tlv(0x04, b"cn=Radice Rete,o=Sigilo") + tlv(0x30,
            tlv(0x30, tlv(0x04, b"certificateRevocationList;binary") + tlv(0x31, tlv(0x04, crl))) +
            tlv(0x30, tlv(0x04, b"modifyTimestamp") + tlv(0x31, tlv(0x04, b"20240101000000Z")))))
search = tlv(0x63, tlv(0x04, b"o=Sigilo") + tlv(0x0A, b"\x02") + tlv(0x0A, b"\x00") +
             tlv(0x02, b"\x00") + tlv(0x02, b"\x00") + tlv(0x01, b"\x00") +
             tlv(0xA3, tlv(0x04, b"cn") + tlv(0x04, b"Radice Rete")) +
             tlv(0x30, tlv(0x04, b"certificateRevocationList") + tlv(0x04, b"modifyTimestamp")))
present = tlv(0x63, tlv(0x04, b"o=Sigilo") + tlv(0x0A, b"\x00") + tlv(0x0A, b"\x00") +
              tlv(0x02, b"\x00") + tlv(0x02, b"\x00") + tlv(0x01, b"\x00") +
              tlv(0x87, b"objectclass") + tlv(0x30, b""))
bind = tlv(0x60, tlv(0x02, b"\x03") + tlv(0x04, b"") + tlv(0x80, b""))
messages = [
    message(1, result(0x61)),
    message(1, result(0x61, 49)),
    message(2, entry) + message(2, result(0x65)),
    message(2, tlv(0x73, tlv(0x04, b"ldap://other/o=Sigilo"))) + message(2, result(0x65)),
    message(2, result(0x65, 10, tlv(0xA3, tlv(0x04, b"ldap://other/")))),
    message(2, result(0x65), tlv(0xA0, tlv(0x30, tlv(0x04, b"1.2.3")))),
    message(1, bind), message(2, search), message(3, present), message(4, b"\x42\x00"),
]
for m in messages:
    write("ldap_message", m)
