#!/usr/bin/python3
"""A directory that holds a CRL and gives it only to a search that asks for the binary form,
on 127.0.0.1 and a port the system picks, for the LDAP client tests.

    ldap_binary_server.py CRLFILE LOG LIFETIME

It prints its port on the first line of standard output and serves connections one after the
other: a bind is answered with success; a search with one entry, which carries
"certificateRevocationList;binary" (and a modifyTimestamp of 2024-01-01) when some attribute
asked for ends with ";binary", and no attribute otherwise; then the search is done. Each
search's attribute list goes to LOG, one line each. It ends by itself after LIFETIME seconds.
The BER is written and read here by hand, apart from the client under test."""
import os
import socket
import sys
import threading

crl_file, log_path, lifetime = sys.argv[1], sys.argv[2], float(sys.argv[3])
with open(crl_file, "rb") as f:
    crl = f.read()


def length(n):
    if n < 0x80:
        return bytes([n])
    body = n.to_bytes((n.bit_length() + 7) // 8, "big")
    return bytes([0x80 | len(body)]) + body


def tlv(tag, content):
    return bytes([tag]) + length(len(content)) + content


def read_tlv(data, pos):
    tag = data[pos]
    first = data[pos + 1]
    pos += 2
    if first & 0x80:
        count = first & 0x7F
        n = int.from_bytes(data[pos:pos + count], "big")
        pos += count
    else:
        n = first
    return tag, data[pos:pos + n], pos + n


def receive(conn):
    head = b""
    while len(head) < 2:
        part = conn.recv(2 - len(head))
        if not part:
            return None
        head += part
    extra = b""
    if head[1] & 0x80:
        while len(extra) < head[1] & 0x7F:
            part = conn.recv((head[1] & 0x7F) - len(extra))
            if not part:
                return None
            extra += part
    n = int.from_bytes(extra, "big") if extra else head[1]
    body = b""
    while len(body) < n:
        part = conn.recv(n - len(body))
        if not part:
            return None
        body += part
    return body


def message(ident, op):
    return tlv(0x30, tlv(0x02, bytes([ident])) + op)


def result(tag):
    return tlv(tag, tlv(0x0A, b"\x00") + tlv(0x04, b"") + tlv(0x04, b""))


def serve(conn):
    conn.settimeout(10)
    while True:
        body = receive(conn)
        if body is None:
            return
        _, ident, pos = read_tlv(body, 0)
        ident = ident[-1]
        op = body[pos]
        if op == 0x60:
            conn.sendall(message(ident, result(0x61)))
        elif op == 0x63:
            _, search, _ = read_tlv(body, pos)
            p = 0
            for _ in range(7):  # base, scope, deref, size, time, typesOnly, filter
                _, _, p = read_tlv(search, p)
            _, attrs, _ = read_tlv(search, p)
            names = []
            q = 0
            while q < len(attrs):
                _, value, q = read_tlv(attrs, q)
                names.append(value.decode())
            with open(log_path, "a") as f:
                f.write(" ".join(names) + "\n")
            attributes = b""
            if any(n.lower().endswith(";binary") for n in names):
                attributes = (tlv(0x30, tlv(0x04, b"certificateRevocationList;binary") +
                                  tlv(0x31, tlv(0x04, crl))) +
                              tlv(0x30, tlv(0x04, b"modifyTimestamp") +
                                  tlv(0x31, tlv(0x04, b"20240101000000Z"))))
            entry = tlv(0x64, tlv(0x04, b"cn=Radice Rete,o=Sigilo") + tlv(0x30, attributes))
            conn.sendall(message(ident, entry) + message(ident, result(0x65)))
        else:
            return


server = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
server.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
server.bind(("127.0.0.1", 0))
server.listen(4)
print(server.getsockname()[1], flush=True)
threading.Timer(lifetime, lambda: os._exit(0)).start()
while True:
    conn, _ = server.accept()
    try:
        serve(conn)
    except (OSError, IndexError, ValueError):
        pass
    conn.close()
