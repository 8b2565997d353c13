#!/usr/bin/python3
"""A stand-in OCSP responder on 127.0.0.1 and a port the system picks.

    ocsp_server.py RESPONSE LIFETIME [REQUEST_LOG]

It prints its port on the first line of standard output and answers every POST with the bytes
of the file RESPONSE as application/ocsp-response, keeping the body of the last request in
REQUEST_LOG when given. RESPONSE "hang" takes the request and never answers. It ends by itself
after LIFETIME seconds.
"""
import http.server
import sys
import threading
import time

response_path, lifetime = sys.argv[1], float(sys.argv[2])
request_log = sys.argv[3] if len(sys.argv) > 3 else None


class Handler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        length = int(self.headers.get("Content-Length", "0"))
        body = self.rfile.read(length) if length > 0 else b""
        if request_log:
            with open(request_log, "wb") as out:
                out.write(body)
        if response_path == "hang":
            time.sleep(lifetime)
            return
        data = open(response_path, "rb").read()
        self.send_response(200)
        self.send_header("Content-Type", "application/ocsp-response")
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    def log_message(self, *args):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
print(server.server_address[1], flush=True)
threading.Timer(lifetime, server.shutdown).start()
server.serve_forever()
