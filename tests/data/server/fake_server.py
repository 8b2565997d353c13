#!/usr/bin/python3
"""A stand-in for the verification server, for the client's tests, on 127.0.0.1.

    fake_server.py MODE PAYLOAD RECORD LIFETIME

It prints its port on the first line of standard output, serves connections one after the
other, and ends by itself after LIFETIME seconds. Each connection's request (the four-byte
length and the text) is read, when the mode reads one, and its text appended to RECORD with a
line "----" after it. MODE:

  reply     answers with PAYLOAD (a file of XML text) in the wire form: length, then text
  hang      reads the request and never answers (keeps the connection open)
  short     announces len(PAYLOAD) + 1000 bytes, sends PAYLOAD and closes
  huge      announces 0xFFFFFFFF bytes, sends PAYLOAD and closes
  garbage   sends PAYLOAD as it is, without a length, and closes
  close     closes at once without reading
"""
import os
import socket
import struct
import sys
import threading
import time


def read_exact(conn, n):
    data = b""
    while len(data) < n:
        piece = conn.recv(n - len(data))
        if not piece:
            return None
        data += piece
    return data


def read_request(conn):
    head = read_exact(conn, 4)
    if head is None:
        return None
    (length,) = struct.unpack(">I", head)
    if length > 1 << 20:
        return None
    return read_exact(conn, length)


def main():
    mode, payload_path, record, lifetime = sys.argv[1], sys.argv[2], sys.argv[3], float(sys.argv[4])
    payload = open(payload_path, "rb").read() if payload_path != "-" else b""
    listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("127.0.0.1", 0))
    listener.listen(16)
    print(listener.getsockname()[1], flush=True)
    deadline = time.time() + lifetime
    stopper = threading.Timer(lifetime, lambda: os._exit(0))
    stopper.daemon = True
    stopper.start()
    kept = []
    listener.settimeout(0.5)
    while time.time() < deadline:
        try:
            conn, _ = listener.accept()
        except socket.timeout:
            continue
        conn.settimeout(10)
        try:
            if mode == "close":
                conn.close()
                continue
            request = read_request(conn)
            with open(record, "ab") as out:
                out.write((request or b"") + b"\n----\n")
            if mode == "reply":
                conn.sendall(struct.pack(">I", len(payload)) + payload)
            elif mode == "hang":
                kept.append(conn)
                continue
            elif mode == "short":
                conn.sendall(struct.pack(">I", len(payload) + 1000) + payload)
            elif mode == "huge":
                conn.sendall(struct.pack(">I", 0xFFFFFFFF) + payload)
            elif mode == "garbage":
                conn.sendall(payload)
            conn.close()
        except OSError:
            conn.close()
    for conn in kept:
        conn.close()
    os._exit(0)


if __name__ == "__main__":
    main()
