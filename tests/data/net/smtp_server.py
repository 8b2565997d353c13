#!/usr/bin/python3
"""A one-connection SMTP server for the Mailer tests, on 127.0.0.1 and a port the system picks.

    smtp_server.py MODE TRANSCRIPT

It prints its port on the first line of standard output, serves one connection and writes
every line the client sent to TRANSCRIPT. MODE: "esmtp" (greeting names ESMTP, a multi-line
EHLO reply), "smtp" (plain greeting), "reject" (554 greeting), "badrcpt" (refuses the
recipient), "silent" (never answers). Every wait is bounded: the server gives up after 10 s."""
import socket
import sys

mode, transcript = sys.argv[1], sys.argv[2]
server = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
server.bind(("127.0.0.1", 0))
server.listen(1)
server.settimeout(10)
print(server.getsockname()[1], flush=True)
lines = []
try:
    conn, _ = server.accept()
    conn.settimeout(10)
    reader = conn.makefile("rb")

    def send(text):
        conn.sendall(text.encode())

    def line():
        data = reader.readline()
        if not data:
            raise EOFError
        text = data.decode().rstrip("\n")
        lines.append(text)
        return text

    if mode == "silent":
        reader.readline()
    elif mode == "reject":
        send("554 no service here\r\n")
        reader.readline()
    else:
        send("220 localhost ESMTP pronto\r\n" if mode == "esmtp" else "220 localhost pronto\r\n")
        hello = line()
        send("250-localhost\r\n250-8BITMIME\r\n250 OK\r\n" if hello.startswith("EHLO")
             else "250 localhost\r\n")
        line()  # mail from
        send("250 OK\r\n")
        line()  # rcpt to
        if mode == "badrcpt":
            send("550 no such user\r\n")
        else:
            send("250 OK\r\n")
            line()  # data
            send("354 go ahead\r\n")
            while line() != ".":
                pass
            send("250 accepted\r\n")
            line()  # quit
        reader.readline()
except (EOFError, OSError):
    pass
with open(transcript, "w") as f:
    f.write("\n".join(lines) + "\n")
