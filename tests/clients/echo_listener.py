#!/usr/bin/env python3
"""Listens on 127.0.0.1, prints its port, and returns what it receives."""
import socketserver


class Echo(socketserver.BaseRequestHandler):
    def handle(self):
        while data := self.request.recv(4096):
            self.request.sendall(data)


with socketserver.ThreadingTCPServer(("127.0.0.1", 0), Echo) as server:
    print(server.server_address[1], flush=True)
    server.serve_forever()
