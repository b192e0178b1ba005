#!/usr/bin/env python3
"""A printer that answers as its argument says, for answers that a real printer does not give.

ipp_printer.py PORT_FILE BEHAVIOUR...

Writes its port to PORT_FILE. BEHAVIOUR is NAME=VALUE for attributes of the printer, or
"reject=TEXT": the printer reads documents and rejects them; "refuse=TEXT": it rejects all requests;
"missing=N", "silent=N": it answers its Nth request by an error of HTTP, or not at all.
"""
import itertools
import socket
import socketserver
import struct
import sys

GROUP_END, OPERATION, PRINTER = 3, 1, 4
BOOLEAN, ENUM, RANGE = 0x22, 0x23, 0x33
TEXT, KEYWORD, CHARSET, LANGUAGE, MIME = 0x41, 0x44, 0x47, 0x48, 0x49
TYPES = {'printer-is-accepting-jobs': BOOLEAN, 'copies-supported': RANGE, 'document-format-supported': MIME,
         'operations-supported': ENUM}
GET_PRINTER_ATTRIBUTES = 0x000B
OK, NOT_POSSIBLE = 0, 0x0404

attributes = dict(argument.split('=', 1) for argument in sys.argv[2:])
refusal = attributes.pop('refuse', None)
rejection = attributes.pop('reject', refusal)
missing, silent = (int(attributes.pop(name, 0)) for name in ('missing', 'silent'))
requests = itertools.count(1)


def attribute(kind, name, value):
    if kind == BOOLEAN:
        data = bytes([value == 'true'])
    elif kind == RANGE:
        data = struct.pack('>ii', 1, int(value))
    elif kind == ENUM:
        data = struct.pack('>i', int(value))
    else:
        data = value.encode()
    return struct.pack('>BH', kind, len(name)) + name.encode() + struct.pack('>H', len(data)) + data


def answer(operation, request_id):
    rejects = (refusal if operation == GET_PRINTER_ATTRIBUTES else rejection) is not None
    body = struct.pack('>HHI', 0x0200, NOT_POSSIBLE if rejects else OK, request_id)
    body += bytes([OPERATION]) + attribute(CHARSET, 'attributes-charset', 'utf-8')
    body += attribute(LANGUAGE, 'attributes-natural-language', 'en')
    if rejects:
        body += attribute(TEXT, 'status-message', rejection)
    if operation == GET_PRINTER_ATTRIBUTES:
        body += bytes([PRINTER])
        for name, value in attributes.items():
            body += attribute(TYPES.get(name, KEYWORD), name, value)
    return body + bytes([GROUP_END])


class Connection(socketserver.StreamRequestHandler):
    def handle(self):
        while self.rfile.readline():
            fields = {}
            for line in iter(lambda: self.rfile.readline().strip(), b''):
                name, value = line.decode().split(':', 1)
                fields[name.lower()] = value.strip()
            number = next(requests)
            if number == missing:
                # Closing a connection whose data has not been read would discard the answer.
                self.wfile.write(b'HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n')
                self.connection.shutdown(socket.SHUT_WR)
                while self.rfile.read(4096):
                    pass
                return
            if '100-continue' in fields.get('expect', ''):
                self.wfile.write(b'HTTP/1.1 100 Continue\r\n\r\n')
            body = self.read_chunks() if fields.get('transfer-encoding') == 'chunked' \
                else self.rfile.read(int(fields.get('content-length', 0)))
            if body is None:
                return
            if number == silent:
                return
            operation, request_id = struct.unpack('>HI', body[2:8])
            reply = answer(operation, request_id)
            self.wfile.write(b'HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\nContent-Length: %d\r\n\r\n'
                             % len(reply) + reply)

    def read_chunks(self):
        body = b''
        while True:
            line = self.rfile.readline()
            if not line:
                return None
            size = int(line, 16)
            body += self.rfile.read(size)
            self.rfile.readline()
            if size == 0:
                return body


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = daemon_threads = True


with Server(('127.0.0.1', 0), Connection) as server:
    with open(sys.argv[1] + '.new', 'w') as file:
        file.write(str(server.server_address[1]))
    __import__('os').rename(sys.argv[1] + '.new', sys.argv[1])
    server.serve_forever()
