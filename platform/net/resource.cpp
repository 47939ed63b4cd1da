// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/resource.h"

#include "net/bearertoken.h"
#include "net/s3documents.h"
#include "transfer.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace hq {

namespace {

constexpr int kMostAttempts = 6;
constexpr int kMostLessons = 3; // region, clock and token, each once
constexpr int kFirstBackoffMilliseconds = 100;
constexpr int kLongestWaitMilliseconds = 5000;

bool isConnectionError(CURLcode code)
{
    switch (code) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_PARTIAL_FILE:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
        return true;
    default:
        return false;
    }
}

bool isTransient(const HttpAnswer &answer)
{
    if (answer.malformed)
        return true;
    if (answer.result != CURLE_OK)
        return isConnectionError(answer.result);
    switch (answer.status) {
    case 429:
    case 500:
    case 502:
    case 503:
    case 504:
        return true;
    default:
        break;
    }
    const std::string code = parseS3Error(answer.body).code;
    return code == "SlowDown" || code == "RequestTimeout" || code == "InternalError";
}

int backoffMilliseconds(int attempts, const HttpAnswer &answer)
{
    const std::string retryAfter = answer.header("retry-after");
    char *end = nullptr;
    long long seconds = std::strtol(retryAfter.c_str(), &end, 10);
    bool isGiven = end != retryAfter.c_str() && *end == '\0';
    const std::time_t date = isGiven ? -1 : curl_getdate(retryAfter.c_str(), nullptr);
    if (date != -1) {
        seconds = date - std::time(nullptr);
        isGiven = true;
    }
    if (isGiven) {
        constexpr long long kMostSeconds = kLongestWaitMilliseconds / 1000;
        return static_cast<int>(std::clamp<long long>(seconds, 0, kMostSeconds)) * 1000;
    }
    const int ceiling =
        std::min(kFirstBackoffMilliseconds << (attempts - 1), kLongestWaitMilliseconds);
    return QRandomGenerator::global()->bounded(ceiling + 1);
}

// The code of a failed answer and what the server says about it.
bool failWith(const HttpAnswer &answer)
{
    setLastError(errorOf(answer));
    std::string word = parseS3Error(answer.body).code;
    if (word.empty())
        word = jsonErrorText(answer);
    setFailureDetails({answer.status, word, {}});
    return false;
}

} // namespace

bool Attempts::again(Resource &resource, const HttpAnswer &answer)
{
    m_due = Clock::now();
    if (answer.result == CURLE_OK && m_lessons < kMostLessons && resource.learn(answer)) {
        ++m_lessons;
        return true;
    }
    if (answer.result == CURLE_ABORTED_BY_CALLBACK || ++m_attempts >= kMostAttempts ||
        !isTransient(answer))
        return failWith(answer);
    m_due += std::chrono::milliseconds(backoffMilliseconds(m_attempts, answer));
    return true;
}

bool Attempts::wait() const
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(m_due - Clock::now());
    return sleepUnlessStopped(static_cast<int>(left.count())) || fail(Error::Cancelled);
}

bool perform(Resource &resource, const RequestOptions &options, HttpAnswer *answer,
             const AnswerCheck &check)
{
    constexpr std::size_t kMostBodyBytes = 32 * 1024 * 1024;
    Attempts attempts;
    do {
        Transfer transfer(resource.request(options), {}, kMostBodyBytes);
        HttpClient::ofThread().run(transfer);
        *answer = std::move(transfer.answer());
        if (answer->isSuccess()) {
            if (!check || check(*answer))
                return true;
            answer->malformed = true;
        }
    } while (attempts.again(resource, *answer) && attempts.wait());
    return false;
}

Error errorOf(const HttpAnswer &answer)
{
    switch (answer.result) {
    case CURLE_OK:
        break;
    case CURLE_ABORTED_BY_CALLBACK:
        return Error::Cancelled;
    case CURLE_OPERATION_TIMEDOUT:
        return Error::TimedOut;
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
        return Error::NameNotResolved;
    case CURLE_COULDNT_CONNECT:
        return Error::CannotConnect;
    case CURLE_SSL_CONNECT_ERROR:
        return Error::SecureChannelError;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ISSUER_ERROR:
        return Error::SecureFailure;
    case CURLE_URL_MALFORMAT:
        return Error::InvalidName;
    case CURLE_UNSUPPORTED_PROTOCOL:
        return Error::NotSupported;
    case CURLE_TOO_MANY_REDIRECTS:
    case CURLE_WRITE_ERROR:
        return Error::InvalidServerResponse;
    default:
        return Error::ConnectionLost;
    }
    switch (answer.status) {
    case 401:
    case 403:
    case 407:
        return Error::AccessDenied;
    case 404: {
        const bool bucketMissing = parseS3Error(answer.body).code == "NoSuchBucket";
        return bucketMissing ? Error::PathNotFound : Error::FileNotFound;
    }
    case 405:
        return Error::NotSupported;
    case 410:
        return Error::FileNotFound;
    case 408:
    case 504:
        return Error::TimedOut;
    case 412:
        return Error::SourceChanged;
    default:
        return Error::InvalidServerResponse;
    }
}

ContentRange contentRange(const HttpAnswer &answer)
{
    ContentRange range;
    const std::string text = answer.header("content-range");
    long long first = -1;
    long long last = -1;
    long long total = -1;
    if (std::sscanf(text.c_str(), "bytes %lld-%lld/%lld", &first, &last, &total) >= 2) {
        range.first = first;
        range.last = last;
        range.total = total;
    } else if (std::sscanf(text.c_str(), "bytes */%lld", &total) == 1) {
        range.total = total;
    }
    return range;
}

} // namespace hq
