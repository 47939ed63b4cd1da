// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/resource.h"

#include <QRegularExpression>

#include <utility>

namespace hq {

HttpRequest requestWith(const RequestOptions &options)
{
    HttpRequest request;
    request.method = options.method;
    if (!options.range.empty())
        request.headers.push_back("Range: " + options.range);
    if (!options.condition.empty())
        request.headers.push_back(options.condition);
    request.isConditional = !options.condition.empty();
    return request;
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
    const QRegularExpression form("^bytes (?:(\\d+)-(\\d+)|\\*)(?:/(?:(\\d+)|\\*))?$");
    const auto match = form.match(QString::fromStdString(response.header("content-range")));
    const auto number = [&match](int part) {
        bool isNumber = false;
        const qint64 value = match.captured(part).toLongLong(&isNumber);
        return isNumber ? value : -1;
    };
    return {number(1), number(2), number(3)};
}

} // namespace hq
