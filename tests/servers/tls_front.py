#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""A CONNECT proxy that leads every name to a plain loopback port, behind TLS with a throw-away
certificate. Lives until stdin closes.

Ready:     {"proxyPort", "caFile"}
Commands:  {"op": "targets"} -> {"targets": [host:port of each CONNECT so far]}"""

import argparse
import select
import socket
import ssl
import subprocess
import tempfile

import common

NAMES = "*.amazonaws.com,*.s3.amazonaws.com,*.s3.eu-west-1.amazonaws.com,localhost,127.0.0.1"


def make_certificate(path, names):
    kinds = [("IP:" if name.replace(".", "").isdigit() else "DNS:") + name for name in names]
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=Test",
                    "-addext", "subjectAltName=" + ",".join(kinds),
                    "-keyout", path, "-out", path + ".pem"],
                   check=True, capture_output=True, timeout=60)


def join(near, far):
    """Passes bytes both ways until one side ends."""
    while True:
        # What TLS has read ahead is not seen by select().
        for end in [near] if near.pending() else select.select([near, far], [], [])[0]:
            data = end.recv(1 << 18)
            if not data:
                return
            (far if end is near else near).sendall(data)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, required=True, help="the plain port behind the front")
    parser.add_argument("--names", default=NAMES, help="what the certificate is for")
    options = parser.parse_args()
    channel = common.take_stdout()
    with tempfile.TemporaryDirectory(prefix="tls-") as folder:
        make_certificate(folder + "/key", options.names.split(","))
        context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        context.load_cert_chain(folder + "/key.pem", folder + "/key")
        targets = []

        def handle(connection, request):
            targets.append(request.target)
            connection.send_head(200, {})
            with context.wrap_socket(connection.sock, server_side=True) as near:
                with socket.create_connection(("127.0.0.1", options.port)) as far:
                    join(near, far)

        ready = {"proxyPort": common.serve(handle), "caFile": folder + "/key.pem"}
        common.control(channel, ready, {"targets": lambda: {"targets": targets}})


if __name__ == "__main__":
    main()
