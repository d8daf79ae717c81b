#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# tw_update_server.py DIR: the update-check tests' HTTPS server, its certificate made for this run
# (DIR/cert.pem); prints "PORT <n>" once listening on 127.0.0.1. Answers each POST from
# DIR/response: the HTTP status and a mode, then the body ("trickle": a byte every
# 0.2 s; "flood N": N bytes of "x", no length announced). Records path and body in DIR/record.
import http.server, os, ssl, subprocess, sys, time

d = sys.argv[1]
cert, key = os.path.join(d, "cert.pem"), os.path.join(d, "key.pem")
subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj",
                "/CN=localhost", "-addext", "subjectAltName=DNS:localhost,IP:127.0.0.1",
                "-keyout", key, "-out", cert], check=True, capture_output=True)


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
        self.close_connection = flood
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
            self.wfile.write(b"" if mode else answer)
        except (BrokenPipeError, ConnectionResetError, ssl.SSLError):
            self.close_connection = True


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(cert, key)
server.socket = context.wrap_socket(server.socket, server_side=True)
print("PORT", server.server_address[1], flush=True)
server.serve_forever()
