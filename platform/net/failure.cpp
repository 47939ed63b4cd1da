// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/failure.h"

#include "base/redaction.h"
#include "net/errordocument.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>

namespace hq {

namespace {

constexpr int kMaxWordCharacters = 200;

Error errorOfResult(CURLcode result)
{
    static constexpr std::pair<CURLcode, Error> kErrors[] = {
        {CURLE_ABORTED_BY_CALLBACK, Error::Cancelled},
        {CURLE_OPERATION_TIMEDOUT, Error::TimedOut},
        {CURLE_COULDNT_RESOLVE_PROXY, Error::NameNotResolved},
        {CURLE_COULDNT_RESOLVE_HOST, Error::NameNotResolved},
        {CURLE_COULDNT_CONNECT, Error::CannotConnect},
        {CURLE_SSL_CONNECT_ERROR, Error::SecureChannelError},
        {CURLE_PEER_FAILED_VERIFICATION, Error::SecureFailure},
        {CURLE_SSL_CERTPROBLEM, Error::SecureFailure},
        {CURLE_SSL_CACERT_BADFILE, Error::SecureFailure},
        {CURLE_SSL_CIPHER, Error::SecureFailure},
        {CURLE_SSL_ISSUER_ERROR, Error::SecureFailure},
        {CURLE_URL_MALFORMAT, Error::InvalidName},
        {CURLE_UNKNOWN_OPTION, Error::NotSupported},
        {CURLE_UNSUPPORTED_PROTOCOL, Error::InvalidServerResponse}, // no HTTP, or a redirect to it
        {CURLE_TOO_MANY_REDIRECTS, Error::InvalidServerResponse},
        {CURLE_WRITE_ERROR, Error::InvalidServerResponse},
    };
    const auto found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                    [result](const auto &error) { return error.first == result; });
    return found == std::end(kErrors) ? Error::ConnectionLost : found->second;
}

QString jsonWord(const QJsonObject &object)
{
    const auto first = [&object](std::initializer_list<const char *> names) {
        for (const char *name : names) {
            QString text = object[QLatin1String(name)].toString().simplified();
            if (!text.isEmpty())
                return text;
        }
        return QString();
    };
    if (object["error"].isObject())
        return jsonWord(object["error"].toObject());
    QStringList parts{first({"type", "code", "Code", "error"}),
                      first({"summary", "error_description", "message", "Message", "detail"})};
    parts.removeAll({});
    return parts.join(": ");
}

QString firstLine(const HttpResponse &response)
{
    const bool isPlain = response.header("content-type").compare(0, 10, "text/plain") == 0;
    const std::string line = response.body.substr(0, response.body.find_first_of("\r\n"));
    return isPlain ? QString::fromStdString(line).simplified() : QString();
}

std::string duration(std::int64_t inSeconds)
{
    const std::int64_t minutes = (std::abs(inSeconds) + 30) / 60;
    constexpr std::int64_t kMaxMinutes = 120;
    return minutes < kMaxMinutes ? std::to_string(minutes) + " minutes"
                                 : std::to_string((minutes + 30) / 60) + " hours";
}

std::string adviceOf(const HttpResponse &response)
{
    if (response.status == 407)
        return "the proxy wants a user name and a password";
    if (response.isFromProxy)
        return "the proxy refuses";
    if (response.result == CURLE_COULDNT_RESOLVE_PROXY)
        return "the name of the proxy is not known";
    if (response.result == CURLE_PEER_FAILED_VERIFICATION)
        return "the server's certificate is not trusted; CURL_CA_BUNDLE can name its authority";
    if (response.result == CURLE_UNKNOWN_OPTION)
        return std::string("libcurl ") + curl_version_info(CURLVERSION_NOW)->version +
               " cannot be told what a transfer must not do; 7.87 is the oldest that can";
    const S3ErrorDocument document = parseS3Error(response.body);
    if (document.code == "SignatureDoesNotMatch")
        return "the secret does not belong to the key";
    if (document.code == "InvalidAccessKeyId")
        return "the server does not know the key";
    return response.context ? response.context->advice(response) : clockAdvice(response);
}

// Code of a failed response.
Error errorOf(const HttpResponse &response)
{
    // A refusal is one, even when the document that explains it does not come to its end.
    const bool isRefusal = response.status >= 400 && response.result != CURLE_ABORTED_BY_CALLBACK;
    if (response.result != CURLE_OK && !isRefusal)
        return errorOfResult(response.result);
    switch (response.status) {
    case 401:
    case 403:
    case 407:
        return Error::AccessDenied;
    case 404:
        return parseS3Error(response.body).code == "NoSuchBucket" ? Error::PathNotFound
                                                                  : Error::FileNotFound;
    case 405:
        return Error::NotSupported;
    case 410:
        return Error::FileNotFound;
    case 408:
    case 504:
        return Error::TimedOut;
    default:
        return response.status == 412 && response.isConditional ? Error::SourceChanged
                                                                : Error::InvalidServerResponse;
    }
}

// What the response says about itself: "Code (message)" of an S3 error, a JSON error, or a line of
// plain text; one line, at most 200 characters, empty when it says nothing.
std::string serverWord(const HttpResponse &response)
{
    const S3ErrorDocument document = parseS3Error(response.body);
    // Not "Code: message", which reads like a credential where the code ends in "Key".
    QString word = QString::fromStdString(
        document.code + (document.message.empty() ? "" : " (" + document.message + ")"));
    // What a success holds beside that is content, a token for instance.
    const bool isRefusal = response.status < 200 || response.status >= 300;
    if (word.isEmpty() && isRefusal)
        word = jsonWord(QJsonDocument::fromJson(QByteArray::fromStdString(response.body)).object());
    if (word.isEmpty() && isRefusal)
        word = firstLine(response);
    word = word.simplified();
    for (const std::string &secret : response.secrets) {
        const QString text = QString::fromStdString(secret).simplified();
        if (!text.isEmpty())
            word.replace(text, QLatin1String(kStars.data()));
    }
    return word.left(kMaxWordCharacters).toStdString();
}

} // namespace

std::string clockAdvice(const HttpResponse &response, std::int64_t clockOffset)
{
    const bool isSkewed = parseS3Error(response.body).code == "RequestTimeTooSkewed";
    const std::time_t date = curl_getdate(response.header("date").c_str(), nullptr);
    if (date == -1 || (response.status != 401 && response.status != 403 && !isSkewed))
        return {};
    const std::int64_t ahead = static_cast<std::int64_t>(date) - std::time(nullptr);
    // A difference that the request took into account is not the reason.
    if (std::abs(isSkewed ? ahead : ahead - clockOffset) < kToleratedSkewSeconds)
        return {};
    return "the clock of this computer is " + duration(ahead) +
           (ahead > 0 ? " behind" : " ahead of") + " the server's";
}

bool failWith(const HttpResponse &response)
{
    return failWith(response, errorOf(response));
}

bool failWith(const HttpResponse &response, Error error)
{
    setLastError(error);
    if (error != Error::Cancelled)
        setFailureDetails({response.status, serverWord(response), adviceOf(response)});
    return false;
}

} // namespace hq
