#!/usr/bin/python3
# SPDX-FileCopyrightText: The Pellory developers
# SPDX-License-Identifier: Apache-2.0

"""TAMS repositories (GET .../flows) and an OAuth2 token endpoint (POST /token) under any host name.
Speaks plain HTTP, to stand behind tls_front.py. Lives until stdin closes.

Ready:     {"port"}
Commands:  {"op": "reset", ...}: every setting of `Server.reset` anew, the old tokens are void
           {"op": "void"}: the tokens given so far are refused from now on
           {"op": "requests"} -> {"requests": [...]}: what came since the last call"""

import base64
import itertools
import json
import threading
import urllib.parse

import common


class Server:
    def __init__(self):
        self.lock, self.requests, self.numbers = threading.Lock(), [], itertools.count(1)
        self.reset()

    def reset(self, flows="[        ]", open=False, status=200, unsized=False, cut=0, promise=0,
              location="", next={}, tokenStatus=200, basic=True, lifetime=3600, id="client", secret="word"):
        """flows: the body; open: no token needed; status, unsized, cut (bytes short), promise
        (its Content-Length): of the flows' answer; location: it is moved there;
        next: headers of the flows' answer; tokenStatus: of the token endpoint, which takes
        client and secret by Basic or, `basic` being false, in the body only; lifetime (s)."""
        self.settings = {name: value for name, value in locals().items() if name != "self"}
        self.void()

    def void(self):
        self.tokens = set()

    def take_requests(self):
        with self.lock:
            taken, self.requests = self.requests, []
        return {"requests": taken}

    def handle(self, connection, request):
        host = request.headers.get("host", "")
        form = dict(urllib.parse.parse_qsl(request.body.decode()))
        with self.lock:
            self.requests.append({"host": host, "method": request.method, "form": form,
                                  "target": request.target,
                                  "authorization": request.headers.get("authorization", "")})
            settings, headers, cut = self.settings, {}, 0
            if request.path == "/token":
                status, body = self.token(request, form)
            elif settings["location"] and host not in settings["location"]:
                status, body, headers = 302, {}, {"Location": settings["location"]}
            elif not (settings["open"] or settings["location"]
                      or request.headers.get("authorization") in self.tokens):
                status, body = 401, {"type": "Unauthorized", "summary": "token not valid"}
            else:
                status, cut, headers = settings["status"], settings["cut"], {**settings["next"]}
                body = settings["flows"] if status == 200 else {
                    "summary": "as told to " + request.headers.get("authorization", "").split()[-1]}
        data = (body if isinstance(body, str) else json.dumps(body)).encode()
        if not settings["unsized"]:
            promise = settings["promise"] if request.path != "/token" else 0
            headers["Content-Length"] = promise or len(data)
        connection.send_head(status, headers, data[:len(data) - cut])
        return not settings["unsized"] and not cut

    def token(self, request, form):
        settings = self.settings
        wanted = [settings["id"], settings["secret"]]
        kind, _, text = request.headers.get("authorization", "").partition(" ")
        by_basic = [urllib.parse.unquote(part) for part in
                    base64.b64decode(text).decode().split(":")] if kind == "Basic" else None
        in_body = [form.get("client_id"), form.get("client_secret")]
        given = by_basic if settings["basic"] else in_body
        if settings["tokenStatus"] != 200:
            return settings["tokenStatus"], {"error": "out of order"}
        if form.get("grant_type") != "client_credentials" or given != wanted:
            return 400, {"error": "invalid_client"}
        token = f"token-{next(self.numbers)}"
        self.tokens.add("Bearer " + token)
        return 200, {"access_token": token, "token_type": "Bearer",
                     "expires_in": settings["lifetime"]}


def main():
    channel = common.take_stdout()
    server = Server()
    common.control(channel, {"port": common.serve(server.handle)},
                   {"reset": server.reset, "void": server.void,
                    "requests": server.take_requests})


if __name__ == "__main__":
    main()
