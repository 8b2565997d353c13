#!/usr/bin/python3
"""The web server of the network tests, on 127.0.0.1 and a port the system picks.

    http_server.py DOCROOT LOG LIFETIME

It prints its port on the first line of standard output, writes one line per request to LOG
("METHOD PATH FORM AUTH PROXYAUTH", FORM being "proxy" for a request with a whole URL, as a
client behind a proxy sends it), keeps the body of the last POST or PUT in LOG.body, and ends
by itself after LIFETIME seconds. A request with a whole URL is served by its path, so the
server also stands in for an HTTP proxy in front of any host.

Paths (DOCROOT/NAME is a file of DOCROOT; NAME.lastmod, when present, holds its Last-Modified
text, and NAME.hang, when present, makes the server hang instead of serving NAME):
  /crl/NAME          the file, application/pkix-crl, with Last-Modified when known
  /b64/NAME          the file as base64 text (a .pem file as it is)
  /redirect/REST     302 to http://127.0.0.1:PORT/REST
  /page/REST         an HTML page whose link is "/REST"; /pagenolen/REST the same without
                     Content-Length
  /dir               an HTML page whose link is the relative "crl/NAME" of DOCROOT/dirlink
  /dir/REST          as /REST
  /nolink, /mailto   HTML pages without a usable link
  /hang              never answers; /close closes at once; /short/NAME sends half the file
  /auth/NAME         /crl/NAME for "Authorization: Basic" of user:secret, else 401
  /status/CODE       that status, no body
  /longheaders/NAME  /crl/NAME behind 40 header lines, each longer than 80 characters
  POST or PUT /echo  200 with the body sent back; /created 201; /moved 301 to /echo;
  POST /form         200 with an HTML page
"""
import base64
import http.server
import os
import sys
import threading
import time
import urllib.parse

docroot, log_path, lifetime = sys.argv[1], sys.argv[2], float(sys.argv[3])
lock = threading.Lock()


def note(line):
    with lock:
        with open(log_path, "a") as f:
            f.write(line + "\n")


class Handler(http.server.BaseHTTPRequestHandler):
    def log_message(self, *args):
        pass

    def parse_request(self):
        # A client of HTTP/1.1 gets an HTTP/1.1 server (and so "100 Continue"); every
        # connection closes after one answer all the same.
        line = self.raw_requestline.rstrip()
        self.protocol_version = "HTTP/1.1" if line.endswith(b"HTTP/1.1") else "HTTP/1.0"
        ok = super().parse_request()
        self.close_connection = True
        return ok

    def target(self):
        form = "origin"
        path = self.path
        if path.startswith("http://"):
            form = "proxy"
            path = urllib.parse.urlsplit(path).path or "/"
        note("%s %s %s %s %s" % (self.command, path, form,
                                  self.headers.get("Authorization", "-").replace(" ", "_"),
                                  self.headers.get("Proxy-Authorization", "-").replace(" ", "_")))
        if path.startswith("/dir/"):
            path = path[4:]
        return path

    def answer(self, status, body=b"", kind="application/pkix-crl", extra=(), length=True):
        self.send_response(status)
        self.send_header("Content-Type", kind)
        for name, value in extra:
            self.send_header(name, value)
        if length:
            self.send_header("Content-Length", str(len(body)))
        self.send_header("Connection", "close")
        self.end_headers()
        self.wfile.write(body)

    def file(self, name):
        path = os.path.join(docroot, os.path.basename(name))
        if not os.path.isfile(path):
            return None, None
        with open(path, "rb") as f:
            data = f.read()
        stamp = None
        if os.path.isfile(path + ".lastmod"):
            with open(path + ".lastmod") as f:
                stamp = f.read().strip()
        return data, stamp

    def serve(self, name, extra=()):
        if os.path.exists(os.path.join(docroot, os.path.basename(name) + ".hang")):
            time.sleep(lifetime)
            return
        data, stamp = self.file(name)
        if data is None:
            self.answer(404, b"", "text/plain")
            return
        headers = list(extra)
        if stamp:
            headers.append(("Last-Modified", stamp))
        self.answer(200, data, extra=headers)

    def page(self, link, length=True):
        body = ("<html><body><p>La CRL: <a href='%s'>scarica</a></p></body></html>" % link)
        self.answer(200, body.encode(), "text/html; charset=utf-8", length=length)

    def do_GET(self):
        path = self.target()
        port = self.server.server_address[1]
        if path.startswith("/crl/"):
            self.serve(path[5:])
        elif path.startswith("/b64/"):
            data, _ = self.file(path[5:])
            if data is None:
                self.answer(404, b"", "text/plain")
            elif path.endswith(".pem"):
                self.answer(200, data, "text/plain")
            else:
                self.answer(200, base64.encodebytes(data), "text/plain")
        elif path.startswith("/redirect/"):
            self.answer(302, b"", "text/plain",
                        [("Location", "http://127.0.0.1:%d/%s" % (port, path[10:]))])
        elif path.startswith("/page/"):
            self.page("/" + path[6:])
        elif path.startswith("/pagenolen/"):
            self.page("/" + path[11:], length=False)
        elif path == "/dir":
            with open(os.path.join(docroot, "dirlink")) as f:
                self.page("crl/" + f.read().strip())
        elif path == "/nolink":
            self.answer(200, b"<html><body>Nessuna CRL qui.</body></html>", "text/html")
        elif path == "/mailto":
            self.page("mailto:ca@example.invalid")
        elif path == "/hang":
            time.sleep(lifetime)
        elif path == "/close":
            self.close_connection = True
            self.connection.shutdown(2)
        elif path.startswith("/short/"):
            data, _ = self.file(path[7:])
            self.send_response(200)
            self.send_header("Content-Type", "application/pkix-crl")
            self.end_headers()
            self.wfile.write(data[:len(data) // 2])
        elif path.startswith("/auth/"):
            wanted = "Basic " + base64.b64encode(b"user:secret").decode()
            if self.headers.get("Authorization") != wanted:
                self.answer(401, b"", "text/plain", [("WWW-Authenticate", "Basic realm=crl")])
            else:
                self.serve(path[6:])
        elif path.startswith("/status/"):
            self.answer(int(path[8:]), b"", "text/plain")
        elif path.startswith("/longheaders/"):
            extra = [("X-Filler-%02d" % i, "x" * 90) for i in range(40)]
            self.serve(path[13:], extra)
        else:
            self.answer(404, b"", "text/plain")

    def body(self):
        length = int(self.headers.get("Content-Length", "0"))
        data = self.rfile.read(length) if length > 0 else b""
        with lock:
            with open(log_path + ".body", "wb") as f:
                f.write(data)
        return data

    def do_POST(self):
        path = self.target()
        data = self.body()
        if path == "/echo":
            self.answer(200, data, "application/octet-stream")
        elif path == "/created":
            self.answer(201, b"", "text/plain")
        elif path == "/moved":
            port = self.server.server_address[1]
            self.answer(301, b"", "text/plain",
                        [("Location", "http://127.0.0.1:%d/echo" % port)])
        elif path == "/form":
            self.answer(200, b"<html><body>Ricevuto.</body></html>", "text/html")
        else:
            self.answer(404, b"", "text/plain")

    do_PUT = do_POST


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
print(server.server_address[1], flush=True)
threading.Timer(lifetime, lambda: os._exit(0)).start()
server.serve_forever()
