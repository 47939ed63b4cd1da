#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""OpenStack Swift behind its S3 front end, on free loopback ports, with one ring device in a
temporary folder. Signatures and the region are checked. A page of a listing has 50 names. Lives
until stdin closes.

Ready:     {"port"}
Commands:  {"op": "bucket", "bucket"}
           {"op": "put", "bucket", "objects": {key: text or size of generated content}}
           {"op": "delete", "bucket", "keys": [key]}"""

import argparse
import array
import concurrent.futures
import ctypes
import http.client
import logging
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
import urllib.parse

import common

ACCESS_KEY = "TESTER"  # on the wire; the account behind it is test:tester
SERVICES = ("account", "container", "object", "proxy")

SWIFT_CONF = """[swift-hash]
swift_hash_path_suffix = test
"""
BACKEND_CONF = """[DEFAULT]
swift_dir = {root}
devices = {root}/node
mount_check = false
fallocate_reserve = 0
log_level = WARNING
[pipeline:main]
pipeline = {service}-server
[app:{service}-server]
use = egg:swift#{service}
disk_chunk_size = 1048576
network_chunk_size = 1048576
"""
PROXY_CONF = """[DEFAULT]
swift_dir = {root}
log_level = WARNING
[pipeline:main]
pipeline = catch_errors cache plainkey s3api tempauth slo proxy-server
[filter:catch_errors]
use = egg:swift#catch_errors
[filter:cache]
use = egg:swift#memcache
memcache_servers = 127.0.0.1:{memcached}
[filter:plainkey]
paste.filter_factory = swift_server:plain_key_filter
[filter:s3api]
use = egg:swift#s3api
location = {location}
max_bucket_listing = 50
storage_domain = s3.amazonaws.com,s3.eu-west-1.amazonaws.com
dns_compliant_bucket_names = false
[filter:tempauth]
use = egg:swift#tempauth
user_test_tester = {secret} .admin
[filter:slo]
use = egg:swift#slo
[app:proxy-server]
use = egg:swift#proxy
account_autocreate = true
object_chunk_size = 1048576
client_chunk_size = 1048576
"""


def plain_key_filter(_global_conf, **_conf):
    """Access keys on the wire hold no colon, Swift's do. The access key is not signed."""

    def wrap(app):
        def call(environ, start_response):
            header = environ.get("HTTP_AUTHORIZATION", "")
            if header:
                environ["HTTP_AUTHORIZATION"] = header.replace(
                    f"Credential={ACCESS_KEY}/", "Credential=test:tester/", 1)
            return app(environ, start_response)
        return call
    return wrap


class Client:
    """Sets up data, by Swift's own interface. One connection per thread."""

    def __init__(self, port, secret):
        self.host, self.local, self.token = f"127.0.0.1:{port}", threading.local(), ""
        self.login = {"X-Auth-User": "test:tester", "X-Auth-Key": secret}

    def expect(self, wanted, method, path, body=b""):
        """`path` unescaped; another status than one of those wanted is an error."""
        if not hasattr(self.local, "connection"):
            self.local.connection = http.client.HTTPConnection(self.host, timeout=60)
        connection = self.local.connection
        headers = {"X-Auth-Token": self.token} if self.token else self.login
        path = "/v1/AUTH_test" + urllib.parse.quote(path) if self.token else path
        try:
            connection.request(method, path, body, headers)
            answer = connection.getresponse()
            text = answer.read()
        except (OSError, http.client.HTTPException):
            connection.close()
            raise
        if answer.status not in wanted:
            raise RuntimeError(f"{method} {path}: {answer.status} {text[:300]!r}")
        self.token = self.token or answer.getheader("X-Auth-Token")


class Swift:
    def __init__(self, root, options):
        self.root, self.children = root, []
        self.log_path = os.path.join(root, "log")
        self.write("log", "")
        sockets = {service: socket.create_server(("127.0.0.1", 0), backlog=512)
                   for service in SERVICES}
        self.ports = {service: s.getsockname()[1] for service, s in sockets.items()}
        os.makedirs(os.path.join(root, "node", "d1"))
        self.write("swift.conf", SWIFT_CONF)
        self.write("proxy.conf", PROXY_CONF, memcached=self.start_memcached(), **vars(options))

        from swift.common import utils
        utils.set_swift_dir(root)
        # Every logger gets its handler here; a bare machine has no syslog.
        utils.ThreadSafeSysLogHandler = lambda **_: logging.FileHandler(self.log_path)
        os.fsync = os.fdatasync = lambda _fd: None  # test data need not survive a power cut
        from swift.common import ring, wsgi
        import swift.account.server, swift.container.server, swift.obj.server, swift.proxy.server
        for service in SERVICES[:3]:
            self.write(service + ".conf", BACKEND_CONF, service=service)
            device = {"id": 0, "region": 1, "zone": 1, "weight": 1, "device": "d1", "meta": "",
                      "ip": "127.0.0.1", "port": self.ports[service]}
            device.update(replication_ip=device["ip"], replication_port=device["port"])
            ring.RingData([array.array("H", [0])], [device], 32).save(
                os.path.join(root, service + ".ring.gz"))
        for service in SERVICES:
            self.children.append(os.fork())
            if self.children[-1] == 0:
                self.run_child(service, sockets, utils, wsgi)

    def write(self, name, text, **values):
        with open(os.path.join(self.root, name), "w") as f:  # mkdtemp keeps others out
            f.write(text.format(root=self.root, **values) if values else text)

    def start_memcached(self):
        path = os.path.join(self.root, "memcached.port")
        self.children.append(subprocess.Popen(
            ["memcached", "-l", "127.0.0.1", "-p", "-1", "-U", "0", "-u",
             "root" if os.getuid() == 0 else str(os.getuid())],
            env={**os.environ, "MEMCACHED_PORT_FILENAME": path}, preexec_fn=die_with_parent,
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL).pid)
        for _ in range(500):
            if os.path.exists(path):
                with open(path) as f:
                    return f.read().split()[-1]
            time.sleep(0.01)
        raise RuntimeError("memcached does not start")

    def run_child(self, service, sockets, utils, wsgi):
        """Serves until killed; never returns."""
        try:
            die_with_parent()
            signal.signal(signal.SIGTERM, signal.SIG_DFL)
            log = os.open(self.log_path, os.O_APPEND | os.O_WRONLY)
            for target in (1, 2):
                os.dup2(log, target)
            os.dup2(os.open(os.devnull, os.O_RDONLY), 0)
            for name, other in sockets.items():
                if name != service:
                    other.close()
            utils.eventlet_monkey_patch()
            path = os.path.join(self.root, service + ".conf")
            conf = utils.readconf(path, f"app:{service}-server", log_name=service)
            listener = socket.socket(fileno=sockets[service].detach())  # now eventlet's kind
            wsgi.run_server(conf, utils.get_logger(conf, log_route=service), listener)
        except BaseException:
            logging.exception("%s", service)
        finally:
            os._exit(1)

    def wait(self, client):
        deadline = time.monotonic() + 50
        while True:
            try:
                return client.expect((200,), "GET", "/auth/v1.0")
            except (OSError, http.client.HTTPException, RuntimeError):
                if time.monotonic() > deadline:
                    raise
            if any(os.waitpid(child, os.WNOHANG)[0] for child in self.children):
                with open(self.log_path, errors="replace") as log:
                    raise RuntimeError("a server ended:\n" + log.read())
            time.sleep(0.05)

    def stop(self):
        for child in self.children:
            os.kill(child, signal.SIGKILL)


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG


def commands(client):
    pool = concurrent.futures.ThreadPoolExecutor(16)

    def bucket(bucket):
        client.expect((201, 202), "PUT", "/" + bucket)

    def put(bucket, objects):
        def one(item):
            key, value = item
            body = common.content(0, value) if isinstance(value, int) else value.encode()
            client.expect((201,), "PUT", f"/{bucket}/{key}", body)
        list(pool.map(one, objects.items()))

    def delete(bucket, keys):
        list(pool.map(lambda key: client.expect((204, 404), "DELETE", f"/{bucket}/{key}"), keys))

    return {"bucket": bucket, "put": put, "delete": delete}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--secret", default="ab/c+d@e:f")
    parser.add_argument("--location", default="us-east-1")
    options = parser.parse_args()
    channel = common.take_stdout()
    root = tempfile.mkdtemp(prefix="swift-")
    swift = None
    try:
        swift = Swift(root, options)
        client = Client(swift.ports["proxy"], options.secret)
        swift.wait(client)
        common.control(channel, {"port": swift.ports["proxy"]}, commands(client))
    finally:
        if swift:
            swift.stop()
        shutil.rmtree(root, ignore_errors=True)


if __name__ == "__main__":
    main()
