// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/resource.h"

#include <charconv>
#include <string_view>
#include <utility>

namespace hq {

void addCondition(const RequestOptions &options, HttpRequest *request)
{
    if (options.condition.empty())
        return;
    request->headers.push_back(options.condition);
    request->isConditional = true;
}

bool perform(Resource &resource, const RequestOptions &options, HttpResponse *response,
             const ResponseCheckCallback &check, const Patience &patience)
{
    const auto client = HttpClient::lease();
    RetryState retryState(patience);
    do {
        HttpRequest request = resource.request(options);
        request.deadline = patience.end();
        HttpTransfer transfer(std::move(request));
        client->run(transfer);
        *response = std::move(transfer.response());
        if (response->isSuccess()) {
            if (!check || check(*response))
                return true;
            response->isMalformed = true;
        }
    } while (retryState.shouldRetry(resource, *response) && retryState.wait());
    return false;
}

ContentRange contentRange(const HttpResponse &response)
{
    const std::string text = response.header("content-range");
    const char *at = text.data();
    const char *const end = at + text.size();
    const auto skip = [&](std::string_view expected) {
        const bool matches = static_cast<std::size_t>(end - at) >= expected.size() &&
                             expected.compare(0, expected.size(), at, expected.size()) == 0;
        at += matches ? expected.size() : 0;
        return matches;
    };
    const auto number = [&](std::int64_t *value) {
        const auto [behind, error] = std::from_chars(at, end, *value);
        at = behind;
        return error == std::errc() && *value >= 0;
    };
    ContentRange range;
    if (!skip("bytes "))
        return range;
    if (!skip("*") && !(number(&range.first) && skip("-") && number(&range.last)))
        return {};
    if (skip("/") && !skip("*") && !number(&range.total))
        return {};
    return range;
}

} // namespace hq
