# client_peers.py FOLDER - the peers of client_test.sh, until it is killed: a
# server of files on port 8000, one that answers a POST with its body on 8001,
# one on 8002 that answers a path with bytes of no good server, and one on 21
# that greets and writes to "ftp" what it hears.
import functools
import http.server
import socket
import socketserver
import struct
import sys
import threading
import time

OK = b"HTTP/1.1 200 OK\r\n"
CHUNKED = OK + b"Transfer-Encoding: chunked\r\n\r\n"
ANSWERS = {
    b"/reset": OK + b"Content-Length: 100\r\n\r\nhalf",
    b"/badchunk": CHUNKED + b"4\r\ngood\r\nzz\r\nbad\r\n",
    b"/cutchunk": CHUNKED + b"4\r\ngood\r\nffff\r\nhalf",
    b"/drip": OK + b"Content-Length: 5\r\n\r\nhello",
    b"/endless": OK + b"X: y\r\n" * 100000,
    b"/noise": bytes(range(255, 0, -1)) * 100,
}


class Echo(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.send_response(401 if self.path == "/401" else 200)
        self.send_header("Content-Length", len(body))
        self.end_headers()
        self.wfile.write(body)


class Rough(socketserver.BaseRequestHandler):
    def handle(self):
        path = self.request.recv(4096).split(b" ")[1]
        if path == b"/silent":
            self.request.recv(1)
            return
        size = 1 if path == b"/drip" else 1 << 20
        answer = ANSWERS[path]
        try:
            for start in range(0, len(answer), size):
                self.request.sendall(answer[start:start + size])
                time.sleep(0.002)
        except OSError:
            pass  # the client has had enough
        if path == b"/reset":
            self.request.setsockopt(
                socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
            self.request.close()


class Ftp(socketserver.BaseRequestHandler):
    def handle(self):
        self.request.sendall(b"220 ready\r\n")
        with open("ftp", "wb") as file:
            file.write(self.request.recv(4096) or b"nothing\n")


files = functools.partial(
    http.server.SimpleHTTPRequestHandler, directory=sys.argv[1])
for port, handler in (8000, files), (8001, Echo), (8002, Rough), (21, Ftp):
    kind = (socketserver.ThreadingTCPServer if port in (8002, 21)
            else http.server.ThreadingHTTPServer)
    threading.Thread(target=kind(("", port), handler).serve_forever).start()
print("ready", flush=True)
