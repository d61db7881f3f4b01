"""An HTTP server on the loopback for the tests of downloads. Prints its port, ends when standard input does."""

import http.server
import os
import sys
import threading
import time

BLOCK = b"L" * (1 << 16)


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def head(self, status, length, **headers):
        self.send_response(status)
        if length is not None:
            self.send_header("Content-Length", str(length))
        for name, value in headers.items():
            self.send_header(name, value)
        self.send_header("Connection", "close")
        self.end_headers()
        self.close_connection = True

    def body(self, text, status=200, **headers):
        data = text.encode()
        self.head(status, len(data), **headers)
        self.wfile.write(data)

    def do_GET(self):
        try:
            self.answer(self.path.split("?")[0])
        except (BrokenPipeError, ConnectionResetError):
            pass

    def answer(self, path):
        if path == "/empty":
            self.head(200, 0)
        elif path == "/redirect":
            self.body("moved", 302, Location="/text")
        elif path == "/early":
            self.head(200, 1000)
            self.wfile.write(b"half")
        elif path == "/unknown-length":
            self.head(200, None)
            self.wfile.write(b"to the end of the connection")
        elif path == "/slow":  # six seconds for everything
            self.head(200, 30000)
            for _ in range(300):
                self.wfile.write(b"s" * 100)
                time.sleep(0.02)
        elif path.startswith("/bytes/"):
            left = int(path[7:])
            self.head(200, left)
            while left > 0:
                left -= self.wfile.write(BLOCK[: min(left, len(BLOCK))])
        elif path.startswith("/path/"):
            self.body(self.path)
        elif path.endswith("/text"):
            self.body("text")
        else:
            self.body("There is nothing here.", 404)

    def log_message(self, *_):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
server.daemon_threads = True
threading.Thread(target=server.serve_forever, daemon=True).start()
print(server.server_address[1], flush=True)
sys.stdin.read()
os._exit(0)
