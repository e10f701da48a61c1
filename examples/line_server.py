#!/usr/bin/env python3
"""A server for the tests of pages and examples: answers each line.

Writes its port into the INI file named, and serves until it is killed.
"""

import os
import socketserver
import sys


class Lines(socketserver.StreamRequestHandler):
    def handle(self):
        for line in self.rfile:
            self.wfile.write(b"250 " + line)
            if line == b"QUIT\r\n":
                return


with socketserver.ThreadingTCPServer(("127.0.0.1", 0), Lines) as server:
    with open(sys.argv[1] + ".new", "w") as ini:
        ini.write(f"[server]\nport={server.server_address[1]}\n")
    os.rename(sys.argv[1] + ".new", sys.argv[1])
    server.serve_forever()
