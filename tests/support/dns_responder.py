#!/usr/bin/env python3
# A DNS responder for lookup tests: python3 dns_responder.py ADDRESS [PORT]
# PORT 0 (the default) takes a free port. The first label of the query name that does not start with
# "_" picks the answer (so "_minecraft._tcp.two.example.test" reads as "two"):
#   two.*       SRV: two records, priority 20 on :8081 listed before priority 10 on :8080
#   zeroport.*  SRV: one record with port 0
#   root.*      SRV: one record whose target is the root name
#   host.*      A: 192.0.2.7 and 192.0.2.8; AAAA: 2001:db8::7
#   alias.*     CNAME: host.example.test.
#   mail.*      MX: 10 mx1.example.test., 20 mx2.example.test.
#   text.*      TXT: "v=spf1 -all", and one record of two strings, "hello " and "world"
#   service.*   SRV: 10 5 8443 rack.example.test.
#   portN.*     SRV: 0 0 N 127.0.0.1, for a local server behind a record
#   The labels above answer other types with no records (NOERROR, NODATA); those of SRV only answer
#   SRV and read as NXDOMAIN otherwise.
#   drop*.*     no answer at all (drop1, drop2, ... too)
#   servfail.*  SERVFAIL; refused.* REFUSED
#   anything else: NXDOMAIN
# Prints "ready PORT" once it listens; answers until killed.
import ipaddress
import socket
import struct
import sys

address = sys.argv[1]
port = int(sys.argv[2]) if len(sys.argv) > 2 else 0
sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
sock.bind((address, port))
print("ready", sock.getsockname()[1], flush=True)

A, CNAME, MX, TXT, AAAA, SRV = 1, 5, 15, 16, 28, 33


def name(text):
    labels = [part for part in text.rstrip(".").split(".") if part]
    return b"".join(bytes([len(p)]) + p.encode() for p in labels) + b"\0"


def srv(priority, weight, target_port, target):
    return struct.pack(">HHH", priority, weight, target_port) + name(target)


def txt(*strings):
    return b"".join(bytes([len(s)]) + s.encode() for s in strings)


SRV_ONLY = {
    b"two": [srv(20, 0, 8081, "rack2.example.test"), srv(10, 60, 8080, "rack1.example.test")],
    b"zeroport": [srv(10, 0, 0, "a.example.test")],
    b"root": [srv(10, 0, 25565, ".")],
}

RECORDS = {
    b"host": {A: [ipaddress.ip_address("192.0.2.7").packed, ipaddress.ip_address("192.0.2.8").packed],
              AAAA: [ipaddress.ip_address("2001:db8::7").packed]},
    b"alias": {CNAME: [name("host.example.test.")]},
    b"mail": {MX: [struct.pack(">H", 10) + name("mx1.example.test."), struct.pack(">H", 20) + name("mx2.example.test.")]},
    b"text": {TXT: [txt("v=spf1 -all"), txt("hello ", "world")]},
    b"service": {SRV: [srv(10, 5, 8443, "rack.example.test.")]},
}

SERVFAIL, NXDOMAIN, REFUSED = 2, 3, 5


def first_label(query):
    i = 12
    while i < len(query) and query[i]:
        label = query[i + 1:i + 1 + query[i]]
        if not label.startswith(b"_"):
            return label
        i += 1 + query[i]
    return b""


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
    first = first_label(query)
    rd = flags & 0x0100
    if first.startswith(b"drop"):
        continue
    rcode = 0
    if first in (b"servfail", b"refused"):
        rcode = SERVFAIL if first == b"servfail" else REFUSED
    elif first.startswith(b"port") and first[4:].isdigit():
        rdatas = [srv(0, 0, int(first[4:]), "127.0.0.1")] if qtype == SRV else []
    elif first in SRV_ONLY:
        rdatas = SRV_ONLY[first] if qtype == SRV else None
        if rdatas is None:
            rcode = NXDOMAIN
    elif first in RECORDS:
        rdatas = RECORDS[first].get(qtype, [])
    else:
        rdatas = None
        rcode = NXDOMAIN
    if rcode:
        sock.sendto(struct.pack(">HHHHHH", qid, 0x8400 | rd | rcode, 1, 0, 0, 0) + question, peer)
        continue
    answers = b""
    for rdata in rdatas:
        answers += b"\xc0\x0c" + struct.pack(">HHIH", qtype, 1, 60, len(rdata)) + rdata
    sock.sendto(struct.pack(">HHHHHH", qid, 0x8400 | rd, 1, len(rdatas), 0, 0) + question + answers, peer)
