#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""An S3 server made of arithmetic, which misbehaves as told. It checks no signature. Lives until
stdin closes.

Ready:     {"port"}
Commands:
  {"op": "bucket", "bucket", "count", "format", "objects", "region", "order", "quirks", "fickle"}:
    replaces a bucket. It holds `count` objects of 10 bytes, named by `format` of a number and a
    UUID, and `objects`, {key: size of generated content or text}. Requests signed for another
    region than `region` are answered by 301, which names it. Its names are in the order of their
    bytes in the encoding `order`. Three of the keys `fickle` come or go before each page. `quirks`
    of listings:
      version-1                                       version 2 is not known
      no-token, no-next-marker                        where a page goes on is not said
      no-start-after, no-encoding-type                the parameter is not heeded
          repeats                                         a marker that is a folder is reported again
      counts-keys                                     a page is so many keys, whatever their folders
  {"op": "set", ...}: changes some of the settings that stand in `Settings`.
  {"op": "fault", "method", "contains", "skip", "times", EFFECTS}: for the next `times` requests
    (1; 0: all) with that method and these texts (a blank between them) in their raw target, after
    the first `skip` such.
  {"op": "chaos", "seed", "effects": [[probability, EFFECTS]]}: at most one of them per request.
  {"op": "calm"}: forgets faults, chaos and settings.
  {"op": "away", "ms"}: breaks all connections and refuses new ones for so long.
  {"op": "requests"} -> {"requests": [...]}: what came since the last call.
Effects, any of:
  status, code, headers, body   an answer instead of the true one; S3's <Error> without a body.
                                status 200 with a code: the error document that S3 sends so
  delay (ms)                    before the answer
  reset                         true: instead of an answer
  raw, endless                  text instead of an answer; sent behind it again and again
  cut (bytes, -1: half)         the body ends there and the connection with it
  rate (bytes/s)                of the body
  lengthDelta                   added to the Content-Length
  chunked                       true: in place of the Content-Length
  otherVersion, wrongRange      true: another version although the condition forbids it; other bytes
  change                        true: the object becomes another version before this; the content
                                of version n is that of the first one from byte 1000 n on
  emptyPage, sameToken, noToken, broken
                                true: a page without entries that goes on, one that names itself as
                                the next one, one that names none, one whose document ends early"""

import base64
import bisect
import collections
import datetime
import email.utils
import hashlib
import os
import random
import re
import threading
import time
import types
import urllib.parse
import uuid
from xml.sax.saxutils import escape

import common

CODES = {403: "AccessDenied", 404: "NoSuchKey", 412: "PreconditionFailed", 503: "SlowDown"}

FIRST_CHANGE = 1704067200  # of every object
CONTENT = memoryview(common.PATTERN * 4)
CONTENT_FILE = os.memfd_create("content")
os.write(CONTENT_FILE, CONTENT)
AFTER = b"\xff\xff\xff"  # behind every rank with the same beginning


def size_of(body):
    return body if isinstance(body, int) else len(body)


# `skew` is how many seconds the server's clock is ahead, `rate` the bytes/s of each connection (0: as
# fast as it goes), `latency` ms before each answer. Of requests `atOnce` are served (0: any number),
# others get 503. `validator` is what versions are told apart by: strong (and then dates are at
# random), date, young (a date, but too new), none.
SETTINGS = {"pageSize": 1000, "skew": 0, "rate": 0, "latency": 0, "busy": 0, "atOnce": 0,
            "validator": "strong"}


class Bucket:
    def __init__(self, count=0, format="key-{:06}", objects=None, region="us-east-1",
                 order="utf-8", quirks=(), fickle=()):
        # Bytes, or the size of generated content.
        self.objects = {key: value.encode() if isinstance(value, str) else value
                        for key, value in (objects or {}).items()}
        self.region, self.order, self.quirks, self.fickle = region, order, quirks, fickle
        self.lock = threading.Lock()
        self.sort({format.format(i, uuid.UUID(hashlib.md5(b"%d" % i).hexdigest(), version=4))
                   for i in range(count)} | set(self.objects))
        self.versions = collections.Counter()
        self.texts = {}  # of entries in pages

    def sort(self, keys):
        self.keys = sorted(keys, key=self.rank)
        self.ranks = [self.rank(key) for key in self.keys]

    def rank(self, key):
        return key.encode(self.order)

    def body(self, key):
        """None where there is no such object."""
        at = bisect.bisect_left(self.ranks, self.rank(key))
        found = at < len(self.keys) and self.keys[at] == key
        return self.objects.get(key, 10) if found else None

    @staticmethod
    def etag(key, version=0):
        return f'"{abs(hash(key)):016x}{version:016x}-2"'

    def validators(self, key, kind, version):
        changed = time.time() if kind == "young" else FIRST_CHANGE + version * 86400
        if kind == "strong":
            changed += random.randrange(86400)
        headers = {}
        if kind == "strong":
            headers["ETag"] = self.etag(key, version)
        if kind != "none":
            headers["Last-Modified"] = email.utils.formatdate(changed, usegmt=True)
        return headers

    def entries(self, prefix, delimiter, start, count):
        """Up to `count` keys and folders from the rank `start`, and the key that comes next."""
        found, counted, by_key = [], 0, "counts-keys" in self.quirks
        at = bisect.bisect_left(self.ranks, max(self.rank(prefix), start))
        while at < len(self.keys) and self.keys[at].startswith(prefix):
            key = self.keys[at]
            if counted == count:
                return found, key
            counted += 1
            cut = key.find(delimiter, len(prefix)) if delimiter else -1
            entry = (key if cut < 0 else key[:cut + 1], cut >= 0)
            if found[-1:] != [entry]:
                found.append(entry)
            at = at + 1 if cut < 0 or by_key else bisect.bisect_left(
                self.ranks, self.rank(entry[0]) + AFTER, at)
        return found, None

    def page(self, query, settings, effects):
        prefix, count = query.get("prefix", ""), int(query.get("max-keys", 1000))
        delimiter = query.get("delimiter", "")
        newer = query.get("list-type") == "2" and "version-1" not in self.quirks
        key = decode_token(query.get("continuation-token", "") if newer else "")
        start = self.rank(key)
        behind = query.get("start-after" if newer else "marker", "")
        if newer and "no-start-after" in self.quirks:
            behind = ""
        if behind and not start:
            passed = not newer and behind.endswith("/") and "repeats" not in self.quirks
            start = self.rank(behind) + (AFTER if passed else b"\0")
        with self.lock:
            if self.fickle:
                self.sort(set(self.keys) ^ set(random.choices(self.fickle, k=3)))
            found, following = self.entries(prefix, delimiter, start,
                                            min(count, settings.pageSize))
        token = encode_token(following) if following is not None else None
        if effects.get("emptyPage") and found:
            found, token = [], encode_token(found[0][0], f"empty{random.random()}")
        if effects.get("sameToken"):
            token = query.get("continuation-token", encode_token(key))
        encoded = query.get("encoding-type") == "url" and "no-encoding-type" not in self.quirks

        def text(key):
            return urllib.parse.quote_plus(key, safe="/-_.*") if encoded else escape(key)

        parts = ["<?xml version='1.0' encoding='UTF-8'?>\n<ListBucketResult xmlns="
                 "'http://s3.amazonaws.com/doc/2006-03-01/'>"
                 f"<Prefix>{text(prefix)}</Prefix><KeyCount>{len(found)}</KeyCount>",
                 "<EncodingType>url</EncodingType>" if encoded else "",
                 f"<IsTruncated>{str(token is not None).lower()}</IsTruncated>"]
        said = token is not None and not effects.get("noToken")
        if said and newer and "no-token" not in self.quirks:
            parts.append(f"<NextContinuationToken>{token}</NextContinuationToken>")
        if said and not newer and "no-next-marker" not in self.quirks:
            parts.append(f"<NextMarker>{text(found[-1][0])}</NextMarker>")
        texts = self.texts.setdefault(encoded, {})
        for entry in found:
            if entry not in texts:
                texts[entry] = self.entry_text(*entry, text)
            parts.append(texts[entry])
        page = "".join(parts + ["</ListBucketResult>"]).encode()
        return page[:len(page) * 2 // 3] if effects.get("broken") else page

    def entry_text(self, key, folder, text):
        if folder:
            return f"<CommonPrefixes><Prefix>{text(key)}</Prefix></CommonPrefixes>"
        size = size_of(self.objects.get(key, 10))
        return (f"<Contents><Key>{text(key)}</Key><LastModified>2024-01-01T00:00:00Z"
                f"</LastModified><ETag>{escape(self.etag(key))}</ETag><Size>{size}"
                "</Size><StorageClass>STANDARD</StorageClass></Contents>")


def encode_token(key, salt=""):
    # Begins so that a client which does not escape it goes wrong.
    return "+/=" + base64.b64encode(key.encode()).decode() + ":" + salt


def decode_token(token):
    if token and not token.startswith("+/="):
        raise Refusal(400, "InvalidArgument")
    return base64.b64decode(token[3:].partition(":")[0]).decode()


class Refusal(Exception):
    def __init__(self, status, code=None, headers=None):
        super().__init__(status)
        self.status, self.headers = status, headers or {}
        self.body = (f"<?xml version='1.0'?>\n<Error><Code>{code or CODES.get(status, 'Error')}"
                     "</Code><Message>As told</Message></Error>").encode()


class Server:
    def __init__(self):
        self.lock, self.buckets = threading.Lock(), {}
        self.requests = collections.deque(maxlen=200000)
        self.calm()

    # Commands.

    def bucket(self, bucket, **options):
        self.buckets[bucket] = Bucket(**options)

    def set(self, **values):
        vars(self.settings).update(values)

    def fault(self, method="", contains="", skip=0, times=1, **effects):
        with self.lock:
            self.faults.append({"method": method, "contains": contains, "skip": skip,
                                "times": times or 1 << 60, "effects": effects})

    def chaos(self, seed, effects):
        self.random, self.chances = random.Random(seed), effects

    def calm(self):
        self.settings, self.faults, self.chances = types.SimpleNamespace(**SETTINGS), [], []

    def take_requests(self):
        with self.lock:
            taken = list(self.requests)
            self.requests.clear()
        return {"requests": taken}

    # Answers.

    def effects_on(self, request):
        with self.lock:
            for fault in self.faults:
                if (fault["method"] in ("", request.method) and fault["times"] > 0
                        and all(text in request.target for text in fault["contains"].split())):
                    if fault["skip"]:
                        fault["skip"] -= 1
                        continue
                    fault["times"] -= 1
                    return fault["effects"]
            chance = self.random.random() if self.chances else 1
            for probability, effects in self.chances:
                if chance < probability:
                    return effects
                chance -= probability
        return {}

    def handle(self, connection, request):
        path, _, query = request.target.partition("?")
        entry = {"method": request.method, "path": path, "query": query,
                 "connection": connection.number}
        if "authorization" in request.headers:
            entry["authorization"] = request.headers["authorization"]
        with self.lock:
            self.requests.append(entry)
            settings = self.settings  # without the requests before a calm
            is_served = settings.busy < (settings.atOnce or 1 << 60)
            settings.busy += is_served
        effects = self.effects_on(request) if is_served else {"status": 503}
        try:
            return self.respond(connection, request, effects)
        finally:
            with self.lock:
                settings.busy -= is_served

    def respond(self, connection, request, effects):
        time.sleep((self.settings.latency + effects.get("delay", 0)) / 1000)
        if effects.get("reset"):
            connection.reset()
            return False
        if "raw" in effects:
            connection.sock.sendall(effects["raw"].encode())
            while "endless" in effects:
                connection.sock.sendall(effects["endless"].encode() * 100)
            return False
        try:
            if "status" in effects:
                refusal = Refusal(effects["status"], effects.get("code"), effects.get("headers"))
                if "body" in effects:
                    refusal.body = effects["body"].encode()
                raise refusal
            status, headers, body, offset, size = self.answer(request, effects)
        except Refusal as refusal:
            status, headers, body, offset = refusal.status, refusal.headers, refusal.body, 0
            size = len(body)
        return self.send(connection, request, effects, status, headers, body, offset, size)

    def answer(self, request, effects):
        """(status, headers, body or the size of generated content, offset in it, bytes)"""
        hosted = re.match(r"(.+)\.s3[.-].*amazonaws\.com", request.headers.get("host", ""))
        path = f"/{hosted[1]}{request.path}" if hosted else request.path
        name, _, key = path[1:].partition("/")
        bucket = self.buckets.get(name)
        if not bucket:
            raise Refusal(404, "NoSuchBucket")
        self.check_signer(request, bucket)
        if effects.get("change"):
            bucket.versions[key] += 1
        headers = {"x-amz-bucket-region": bucket.region, "Content-Type": "application/xml"}
        if not key:
            body = bucket.page(request.query, self.settings, effects)
            return 200, headers, body, 0, len(body)
        body = bucket.body(key)
        if body is None:
            raise Refusal(404)
        version = bucket.versions[key] + bool(effects.get("otherVersion"))
        validators = bucket.validators(key, self.settings.validator, version)
        if not effects.get("otherVersion"):
            self.check_conditions(request, validators)
        size = size_of(body)
        headers = {"Accept-Ranges": "bytes", "Content-Type": "video/mxf", **validators}
        shift = 1000 * version if isinstance(body, int) else 0
        wanted = re.fullmatch(r"bytes=(\d+)-(\d*)", request.headers.get("range", ""))
        if not wanted:
            return 200, headers, body, shift, size
        first, last = int(wanted[1]), min(int(wanted[2] or size), size - 1)
        if first > last:
            raise Refusal(416, headers={"Content-Range": f"bytes */{size}"})
        if effects.get("wrongRange"):
            first -= 1000
        headers["Content-Range"] = f"bytes {first}-{last}/{size}"
        return 206, headers, body, first + shift, last - first + 1

    @staticmethod
    def check_conditions(request, validators):
        etag, changed = validators.get("ETag", ""), validators.get("Last-Modified", "")
        before = request.headers.get("if-unmodified-since")
        date = email.utils.parsedate_to_datetime
        if request.headers.get("if-match", etag) != etag or before and date(changed) > date(before):
            raise Refusal(412)

    def check_signer(self, request, bucket):
        signed = re.search(r"Credential=[^/]*/\d+/([^/]*)/",
                           request.headers.get("authorization", ""))
        if not signed:
            return
        date = datetime.datetime.strptime(request.headers["x-amz-date"] + "+0000",
                                          "%Y%m%dT%H%M%SZ%z").timestamp()
        if abs(date - self.now()) > 300:
            raise Refusal(403, "RequestTimeTooSkewed")
        if signed[1] != bucket.region:
            raise Refusal(301, "PermanentRedirect", {"x-amz-bucket-region": bucket.region})

    def now(self):
        return time.time() + self.settings.skew

    def send(self, connection, request, effects, status, headers, body, offset, size):
        end = size
        if "cut" in effects:
            end = size // 2 if effects["cut"] < 0 else min(size, effects["cut"])
        headers = {"Date": email.utils.formatdate(self.now(), usegmt=True), **headers}
        chunked = effects.get("chunked")
        if chunked:
            headers["Transfer-Encoding"] = "chunked"
        else:
            headers["Content-Length"] = size + effects.get("lengthDelta", 0)
        connection.send_head(status, headers)
        if request.method == "HEAD":
            return not chunked
        rate = effects.get("rate", self.settings.rate)
        piece = max(1, min(1 << 20, rate // 50)) if rate else 1 << 20
        began, sent = time.monotonic(), 0
        while sent < end:
            count = min(piece, end - sent)
            start = offset + sent
            if isinstance(body, int):
                start %= common.PERIOD
                count = min(count, len(CONTENT) - start)
            data = (CONTENT if isinstance(body, int) else memoryview(body))[start:start + count]
            if chunked:
                connection.sock.sendall(b"%x\r\n%s\r\n" % (count, data))
            elif isinstance(body, int):
                count = os.sendfile(connection.sock.fileno(), CONTENT_FILE, start, count)
            else:
                connection.sock.sendall(data)
            sent += count
            if rate:
                time.sleep(max(0, began + sent / rate - time.monotonic()))
        if chunked and end == size:
            connection.sock.sendall(b"0\r\n\r\n")
        return end == size and effects.get("lengthDelta", 0) == 0


def main():
    channel = common.take_stdout()
    server = Server()
    listener = common.Listener(server.handle)
    common.control(channel, {"port": listener.port}, {
        "bucket": server.bucket, "set": server.set, "fault": server.fault, "chaos": server.chaos,
        "calm": server.calm, "away": listener.away, "requests": server.take_requests})


if __name__ == "__main__":
    main()
