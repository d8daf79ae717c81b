#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# A one-endpoint HTTPS server for the update-check tests, with a certificate made for this run.
#
# Usage: tw_update_server.py DIR. Writes DIR/cert.pem and DIR/key.pem, prints "PORT <n>" once
# listening on 127.0.0.1, answers every POST from DIR/response and records it in DIR/record.
# DIR/response: first line the HTTP status (0 = hang up without answering) and a mode, then the
# body. "trickle" sends the body one byte every 0.2 s; "flood N" sends N bytes of "x" with no
# length announced, until the client hangs up.
# DIR/record: rewritten per request with the path, a newline, then the raw request body.
import http.server
import os
import ssl
import subprocess
import sys
import time

d = sys.argv[1]
subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1",
                "-subj", "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
                "-keyout", os.path.join(d, "key.pem"), "-out", os.path.join(d, "cert.pem")],
               check=True, capture_output=True)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    log_message = lambda *args: None

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
        with open(os.path.join(d, "record"), "wb") as f:
            f.write(self.path.encode() + b"\n" + body)
        with open(os.path.join(d, "response"), "rb") as f:
            status, *mode = f.readline().split()
            answer = f.read()
        flood = mode[:1] == [b"flood"]
        self.close_connection = status == b"0" or flood
        if status == b"0":
            return
        self.send_response(int(status))
        self.send_header(*(("Connection", "close") if flood
                           else ("Content-Length", str(len(answer)))))
        self.end_headers()
        try:
            for _ in range(0, int(mode[1]), 65536) if flood else []:
                self.wfile.write(b"x" * 65536)
            for i in range(len(answer)) if mode == [b"trickle"] else []:
                self.wfile.write(answer[i:i + 1])
                self.wfile.flush()
                time.sleep(0.2)
            if not mode:
                self.wfile.write(answer)
        except (BrokenPipeError, ConnectionResetError, ssl.SSLError):
            self.close_connection = True


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(os.path.join(d, "cert.pem"), os.path.join(d, "key.pem"))
server.socket = context.wrap_socket(server.socket, server_side=True)
print("PORT", server.server_address[1], flush=True)
server.serve_forever()
