#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""OpenStack Swift behind its S3 front end, in one process on free loopback ports, with one ring
device in a temporary folder. Signatures and the region are checked. A page of a listing has 50
names. Lives until stdin closes.

Ready:     {"port"}
Commands:  {"op": "bucket", "bucket"}
           {"op": "put", "bucket", "objects": {key: text or size of generated content}}"""

import argparse
import array
import logging
import os
import sys
import tempfile
import urllib.parse

import common
import eventlet
from swift.common import ring, swob, utils, wsgi

ACCESS_KEY = "TESTER"

# One for all; a server passes over what is not for it.
CONF = """[DEFAULT]
swift_dir = {root}
devices = {root}/node
mount_check = false
fallocate_reserve = 0
log_level = WARNING
[app:{service}-server]
use = egg:swift#{service}
account_autocreate = true
[filter:s3api]
use = egg:swift#s3api
location = {location}
max_bucket_listing = 50
allow_multipart_uploads = false
storage_domain = s3.amazonaws.com,s3.eu-west-1.amazonaws.com
[filter:auth]
paste.filter_factory = swift_server:auth_filter
secret = {secret}
[pipeline:main]
pipeline = {filters}{service}-server
"""


def auth_filter(_global_conf, secret, **_rest):
    """One account, named like its access key; Swift's own check would want a colon in that."""

    def wrap(app):
        def call(environ, start_response):
            signed = environ.get("s3api.auth_details", {"access_key": None})
            if environ.get("swift.authorize_override") or (
                    signed["access_key"] == ACCESS_KEY and signed["check_signature"](secret)):
                return app(environ, start_response)
            return swob.HTTPUnauthorized()(environ, start_response)
        return call
    return wrap


def start(root, service, filters, options):
    """Serves in the background; returns the port and what answers the requests."""
    listener = eventlet.listen(("127.0.0.1", 0), backlog=512)
    port, path = listener.getsockname()[1], f"{root}/{service}.conf"
    with open(path, "w") as f:  # mkdtemp keeps others out
        f.write(CONF.format(root=root, service=service, filters=filters, **vars(options)))
    device = {"id": 0, "region": 1, "zone": 1, "weight": 1, "device": "d1", "meta": "",
              "ip": "127.0.0.1", "port": port}
    ring.RingData([array.array("H", [0])], [device], 32).save(f"{root}/{service}.ring.gz")
    app = wsgi.loadapp(path)
    eventlet.spawn(eventlet.wsgi.server, listener, app, utils.NullLogger(),
                   protocol=wsgi.SwiftHttpProtocol, capitalize_response_headers=False)
    return port, app._pipeline_final_app


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--secret", default="ab/c+d@e:f")
    parser.add_argument("--location", default="us-east-1")
    options = parser.parse_args()
    channel = common.take_stdout()
    utils.eventlet_monkey_patch()
    sys.stdin = eventlet.greenio.GreenPipe(0)
    # A bare machine has no syslog.
    utils.ThreadSafeSysLogHandler = lambda **_: logging.StreamHandler()
    os.fsync = os.fdatasync = lambda _fd: None  # test data need not survive a power cut
    with tempfile.TemporaryDirectory(prefix="swift-") as root:
        os.makedirs(f"{root}/node/d1")
        with open(f"{root}/swift.conf", "w") as f:
            f.write("[swift-hash]\nswift_hash_path_suffix = test\n")
        utils.set_swift_dir(root)
        for service in ("account", "container", "object"):
            start(root, service, "", options)
        port, proxy = start(root, "proxy", "s3api auth ", options)

        def write(path, body, known):
            path = f"/v1/{ACCESS_KEY}/{urllib.parse.quote(path)}"
            environ = {"REQUEST_METHOD": "PUT", "swift.infocache": known}
            answer = swob.Request.blank(path, environ, body=body).get_response(proxy)
            if not answer.is_success:
                raise RuntimeError(f"{path}: {answer.status}")

        def put(bucket, objects):
            known = {}  # Swift's word on account and bucket, asked for once

            def one(item):
                key, value = item
                body = common.content(0, value) if isinstance(value, int) else value.encode()
                write(f"{bucket}/{key}", body, known)
            list(eventlet.GreenPool(16).imap(one, objects.items()))

        common.control(channel, {"port": port},
                       {"bucket": lambda bucket: write(bucket, b"", {}), "put": put})


if __name__ == "__main__":
    main()
