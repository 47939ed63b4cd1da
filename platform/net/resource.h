// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// One network source as the transfers see it: it makes the requests and corrects them after
// refusals.
#pragma once

#include "net/http.h"
#include "net/retrystate.h"

#include <functional>
#include <string>

namespace hq {

struct RequestOptions
{
    std::string method = "GET";
    std::string range;     // "bytes=0-99", empty for the whole
    std::string condition; // a whole header, empty for none
};

// What a refusal led to. None: nothing. Adjusted: the request is worth making again at once, for
// another region, with the server's time or a new token. Failed: it needed something that could not
// be had, a token for instance; the last error says why.
enum class Adjustment { None, Adjusted, Failed };

class Resource
{
public:
    virtual ~Resource() = default;
    virtual HttpRequest request(const RequestOptions &options) = 0;
    virtual Adjustment adjust(const HttpResponse &response, const Patience &patience) = 0;
};

// A request with these options, still without an address.
HttpRequest requestWith(const RequestOptions &options);

// Makes a request until it succeeds or patience ends; false sets the last error and its details.
// `*response` is the last response either way, whole and the caller's. A success that `check` does
// not accept is tried again.
using ResponseCheckCallback = std::function<bool(const HttpResponse &)>;
bool perform(Resource &resource, const RequestOptions &options, HttpResponse *response,
             const ResponseCheckCallback &check = {},
             const Patience &patience = Patience::ofPerson());

// First and last byte and whole size of a Content-Range header; -1 where it does not say.
struct ContentRange
{
    std::int64_t first = -1;
    std::int64_t last = -1;
    std::int64_t total = -1;
};
ContentRange contentRange(const HttpResponse &response);

} // namespace hq
