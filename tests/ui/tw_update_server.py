#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# A one-endpoint HTTPS server for the update-check tests: answers every POST from a response
# file and records what it received.
#
# Usage: tw_update_server.py CERT KEY RESPONSE_FILE RECORD_FILE
# RESPONSE_FILE: first line the HTTP status (0 = hang up without answering), then the body.
# The status may be followed by a mode: "trickle" sends the body one byte every 0.2 s;
# "flood N" sends N bytes of "x" with no length announced, until the client hangs up.
# RECORD_FILE: rewritten per request with the path, a newline, then the raw request body.
# Prints "PORT <n>" once listening on 127.0.0.1.
import http.server
import ssl
import sys
import time

cert, key, response_file, record_file = sys.argv[1:5]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    log_message = lambda *args: None

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length") or 0))
        with open(record_file, "wb") as f:
            f.write(self.path.encode() + b"\n" + body)
        with open(response_file, "rb") as f:
            status, *mode = f.readline().split()
            answer = f.read()
        self.close_connection = status == b"0" or mode[:1] == [b"flood"]
        if status == b"0":
            return
        self.send_response(int(status))
        self.send_header("Content-Type", "text/plain; charset=utf-8")
        self.send_header(*(("Connection", "close") if mode[:1] == [b"flood"]
                           else ("Content-Length", str(len(answer)))))
        self.end_headers()
        try:
            if mode[:1] == [b"flood"]:
                for _ in range(0, int(mode[1]), 65536):
                    self.wfile.write(b"x" * 65536)
            for i in range(len(answer)) if mode[:1] == [b"trickle"] else []:
                self.wfile.write(answer[i:i + 1])
                self.wfile.flush()
                time.sleep(0.2)
            if not mode:
                self.wfile.write(answer)
        except (BrokenPipeError, ConnectionResetError, ssl.SSLError):
            self.close_connection = True


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(cert, key)
server.socket = context.wrap_socket(server.socket, server_side=True)
print("PORT", server.server_address[1], flush=True)
server.serve_forever()
