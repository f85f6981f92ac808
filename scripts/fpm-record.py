#!/usr/bin/env python3
"""Accepts one FPM connection and writes its raw byte stream to a file.

  fpm-record.py [--listen ADDR:PORT] [--idle SECONDS] [--max-seconds S] OUT

Stops when the sender closes the connection, when nothing arrives for
--idle seconds after the first byte, or after --max-seconds in all. Prints
the bytes and frames received (frames counted from the FPM header: version,
type, 16-bit big-endian length including the header).
"""
import argparse
import socket
import struct
import sys
import time


def count_frames(data):
    off, frames = 0, 0
    while off + 4 <= len(data):
        length = struct.unpack_from(">H", data, off + 2)[0]
        if length < 4 or off + length > len(data):
            break
        off += length
        frames += 1
    return frames, len(data) - off


def main():
    ap = argparse.ArgumentParser(description="Record one FPM connection's byte stream.")
    ap.add_argument("out")
    ap.add_argument("--listen", default="127.0.0.1:2620")
    ap.add_argument("--idle", type=float, default=5.0)
    ap.add_argument("--max-seconds", type=float, default=300.0)
    args = ap.parse_args()
    host, _, port = args.listen.rpartition(":")
    srv = socket.socket(socket.AF_INET6 if ":" in host else socket.AF_INET)
    srv.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    srv.bind((host.strip("[]"), int(port)))
    srv.listen(1)
    deadline = time.monotonic() + args.max_seconds
    srv.settimeout(args.max_seconds)
    try:
        conn, _ = srv.accept()
    except socket.timeout:
        print("fpm-record: no connection within %.0f s" % args.max_seconds, file=sys.stderr)
        return 1
    srv.close()
    data = bytearray()
    with conn:
        while time.monotonic() < deadline:
            conn.settimeout(args.idle if data else max(0.1, deadline - time.monotonic()))
            try:
                chunk = conn.recv(1 << 16)
            except socket.timeout:
                break
            if not chunk:
                break
            data += chunk
    with open(args.out, "wb") as f:
        f.write(data)
    frames, tail = count_frames(data)
    print("fpm-record: %d bytes, %d frames%s -> %s" % (
        len(data), frames, ", %d bytes of a cut frame" % tail if tail else "", args.out))
    return 0


if __name__ == "__main__":
    sys.exit(main())
