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

    def reset(self, flows="[        ]", status=200, unsized=False, cut=0, promise=0, location="",
              next={}, basic=True, lifetime=3600, secret="word"):
        """flows: the body; status, unsized, cut (bytes short), promise (its Content-Length): of the
        flows' answer; location: it is moved there; next: headers of the flows' answer; the token
        endpoint takes "client" and secret by Basic or, `basic` being false, in the body only;
        lifetime (s): of its tokens."""
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
        authorization = request.headers.get("authorization", "")
        with self.lock:
            self.requests.append(f"{request.method} {host}{request.target} "
                                 + authorization.partition(" ")[0])
            settings, headers, cut, promise = self.settings, {}, 0, 0
            if request.path == "/token":
                status, body = self.token(request, authorization)
            elif settings["location"] and host not in settings["location"]:
                status, body, headers = 302, "", {"Location": settings["location"]}
            elif not settings["location"] and authorization not in self.tokens:
                status, body = 401, "{}"
            else:
                status, cut, promise = (settings[name] for name in ("status", "cut", "promise"))
                headers, body = dict(settings["next"]), settings["flows"]
                if status != 200:
                    body = json.dumps({"summary": "as told to " + authorization.split()[-1]})
        data = body.encode()
        if not settings["unsized"]:
            headers["Content-Length"] = promise or len(data)
        connection.send_head(status, headers, data[:len(data) - cut])
        return not settings["unsized"] and not cut

    def token(self, request, authorization):
        form = dict(urllib.parse.parse_qsl(request.body.decode()))
        if request.headers.get("accept") != "application/json":
            return 406, "{}"
        given = [form.get("client_id"), form.get("client_secret")]
        if self.settings["basic"]:
            given = base64.b64decode(authorization.partition(" ")[2]).decode().split(":")
            given = [urllib.parse.unquote(part) for part in given]
        if (form.get("grant_type"), *given) != (
                "client_credentials", "client", self.settings["secret"]):
            return 400, json.dumps({"error": "invalid_client",
                                    "message": f"not {form.get('client_secret', given[-1])}"})
        token = f"token-{next(self.numbers)}"
        self.tokens.add("Bearer " + token)
        return 200, json.dumps({"access_token": token, "token_type": "Bearer",
                                "expires_in": self.settings["lifetime"]})


def main():
    channel = common.take_stdout()
    server = Server()
    common.control(channel, {"port": common.serve(server.handle)},
                   {"reset": server.reset, "void": server.void,
                    "requests": server.take_requests})


if __name__ == "__main__":
    main()
