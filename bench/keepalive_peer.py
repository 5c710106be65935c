#!/usr/bin/env python3
"""A keep-alive HTTP/1.1 peer for the benchmarks: every request on a connection gets the same 2 KiB
200 reply in one write, as nginx or Caddy send it. (Python's http.server writes the head and the
body separately, and on a kept-alive connection Nagle's algorithm and the client's delayed ACK then
hold each reply back for 40 ms.)
usage: keepalive_peer.py PORT"""
import socket
import sys
import threading

BODY = b"x" * 2048
REPLY = b"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nContent-Length: %d\r\n\r\n" % len(BODY) + BODY


def serve(connection):
    pending = b""
    with connection:
        while True:
            data = connection.recv(65536)
            if not data:
                return
            pending += data
            while b"\r\n\r\n" in pending:
                _, pending = pending.split(b"\r\n\r\n", 1)
                connection.sendall(REPLY)


listener = socket.socket()
listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
listener.bind(("127.0.0.1", int(sys.argv[1])))
listener.listen(512)
while True:
    client, _ = listener.accept()
    threading.Thread(target=serve, args=(client,), daemon=True).start()
