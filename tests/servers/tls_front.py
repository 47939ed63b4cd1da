#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""A throw-away authority, a TLS front for a plain loopback port, and a CONNECT proxy that leads
every name to that front. Lives until stdin closes.

Ready:     {"proxyPort", "caFile"}
Commands:  {"op": "targets"} -> {"targets": [host:port of each CONNECT since the last call]}"""

import argparse
import asyncio
import shutil
import ssl
import subprocess
import tempfile
import threading

import common

NAMES = ("*.amazonaws.com,*.s3.amazonaws.com,*.s3.eu-west-1.amazonaws.com,"
         "s3.eu-west-1.amazonaws.com,localhost,127.0.0.1")


def make_certificates(folder, names):
    def request(name, *arguments):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2",
                        "-keyout", f"{folder}/{name}.key", "-out", f"{folder}/{name}.pem",
                        "-subj", f"/CN=Test {name}", *arguments],
                       check=True, capture_output=True, timeout=60)

    request("ca", "-addext", "keyUsage=critical,keyCertSign,cRLSign")
    kinds = [("IP:" if name.replace(".", "").isdigit() else "DNS:") + name for name in names]
    request("leaf", "-CA", f"{folder}/ca.pem", "-CAkey", f"{folder}/ca.key",
            "-addext", "subjectAltName=" + ",".join(kinds),
            "-addext", "basicConstraints=critical,CA:FALSE")


async def pump(reader, writer):
    while data := await reader.read(1 << 18):
        writer.write(data)
        await writer.drain()


async def join(reader, writer, port):
    """Passes bytes both ways until one side ends; a broken connection breaks the other one."""
    far_reader, far_writer = await asyncio.open_connection("127.0.0.1", port, limit=1 << 20)
    pumps = [asyncio.ensure_future(pump(reader, far_writer)),
             asyncio.ensure_future(pump(far_reader, writer))]
    done, pending = await asyncio.wait(pumps, return_when=asyncio.FIRST_COMPLETED)
    broken = any(task.exception() for task in done)
    for task in pending:
        task.cancel()
    for end in (writer, far_writer):
        end.transport.abort() if broken else end.close()


async def serve(options, folder, targets, started):
    async def front(reader, writer):
        try:
            await join(reader, writer, options.port)
        except OSError:
            writer.transport.abort()

    async def proxy(reader, writer):
        try:
            head = (await reader.readuntil(b"\r\n\r\n")).decode("latin-1").split()
            targets.append(head[1])
            writer.write(b"HTTP/1.1 200 Connected\r\n\r\n")
            await join(reader, writer, tls.sockets[0].getsockname()[1])
        except (OSError, asyncio.IncompleteReadError):
            writer.transport.abort()

    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(f"{folder}/leaf.pem", f"{folder}/leaf.key")
    tls = await asyncio.start_server(front, "127.0.0.1", 0, ssl=context, limit=1 << 20)
    plain = await asyncio.start_server(proxy, "127.0.0.1", 0, limit=1 << 20)
    started(plain.sockets[0].getsockname()[1])
    await asyncio.gather(tls.serve_forever(), plain.serve_forever())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--port", type=int, required=True, help="the plain port behind the front")
    parser.add_argument("--names", default=NAMES, help="what the certificate is for")
    options = parser.parse_args()
    channel = common.take_stdout()
    folder = tempfile.mkdtemp(prefix="tls-")
    try:
        make_certificates(folder, options.names.split(","))
        targets, ready, up = [], {}, threading.Event()

        def started(port):
            ready.update(proxyPort=port, caFile=f"{folder}/ca.pem")
            up.set()

        def take_targets():
            taken = targets[:]
            del targets[:len(taken)]
            return {"targets": taken}

        threading.Thread(target=lambda: asyncio.run(serve(options, folder, targets, started)),
                         daemon=True).start()
        if not up.wait(20):
            raise RuntimeError("the front does not start")
        common.control(channel, ready, {"targets": take_targets})
    finally:
        shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    main()
