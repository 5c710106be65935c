#!/usr/bin/env python3
# A DNS responder for SRV tests: python3 dns_responder.py ADDRESS [PORT]
# Qt 6.4 cannot ask a nameserver on any port but 53, so tests run it on a spare 127.x.y.z address.
# The first label of the query name picks the answer:
#   two.*       two records, priority 20 on :8081 listed before priority 10 on :8080
#   zeroport.*  one record with port 0
#   root.*      one record whose target is the root name
#   drop.*      no answer at all
#   anything else: NXDOMAIN
# Prints "ready" once it listens; answers until killed.
import socket
import struct
import sys

address = sys.argv[1]
port = int(sys.argv[2]) if len(sys.argv) > 2 else 53
sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
sock.bind((address, port))
print("ready", flush=True)


def name(text):
    labels = [part for part in text.rstrip(".").split(".") if part]
    return b"".join(bytes([len(p)]) + p.encode() for p in labels) + b"\0"


ANSWERS = {
    b"two": [(20, 0, 8081, "rack2.example.test"), (10, 60, 8080, "rack1.example.test")],
    b"zeroport": [(10, 0, 0, "a.example.test")],
    b"root": [(10, 0, 25565, ".")],
}

while True:
    query, peer = sock.recvfrom(512)
    if len(query) < 17:
        continue
    qid, flags = struct.unpack(">HH", query[:4])
    i = 12
    while i < len(query) and query[i]:
        i += 1 + query[i]
    question = query[12:i + 5]
    qtype = struct.unpack(">H", query[i + 1:i + 3])[0]
    first = query[13:13 + query[12]]
    rd = flags & 0x0100
    if first == b"drop":
        continue
    records = ANSWERS.get(first) if qtype == 33 else None
    if not records:
        sock.sendto(struct.pack(">HHHHHH", qid, 0x8400 | rd | 3, 1, 0, 0, 0) + question, peer)
        continue
    answers = b""
    for priority, weight, target_port, target in records:
        rdata = struct.pack(">HHH", priority, weight, target_port) + name(target)
        answers += b"\xc0\x0c" + struct.pack(">HHIH", 33, 1, 60, len(rdata)) + rdata
    sock.sendto(struct.pack(">HHHHHH", qid, 0x8400 | rd, 1, len(records), 0, 0) + question + answers, peer)
