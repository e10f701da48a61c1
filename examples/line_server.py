#!/usr/bin/env python3
"""A server for the tests of pages and examples: answers each line.

Closes after QUIT, after half an answer to HALF, and with a reset after RESET;
answers nothing to HUSH. Writes its port into the INI file named, and serves until it is killed.
"""

import os
import socket
import socketserver
import struct
import sys


class Lines(socketserver.StreamRequestHandler):
    def handle(self):
        for line in self.rfile:
            if line == b"HUSH\r\n":
                continue
            if line == b"HALF\r\n":
                self.wfile.write(b"250")
                return
            if line == b"RESET\r\n":
                at_once = struct.pack("ii", 1, 0)
                self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, at_once)
                self.connection.close()
                return
            self.wfile.write(b"250 " + line)
            if line == b"QUIT\r\n":
                return


with socketserver.ThreadingTCPServer(("127.0.0.1", 0), Lines) as server:
    with open(sys.argv[1] + ".new", "w") as ini:
        ini.write(f"[server]\nport={server.server_address[1]}\n")
    os.rename(sys.argv[1] + ".new", sys.argv[1])
    server.serve_forever()
