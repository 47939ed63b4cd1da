// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/signer.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QMessageAuthenticationCode>

#include <algorithm>

namespace hq {

namespace {

constexpr const char *kAlgorithm = "AWS4-HMAC-SHA256";

QByteArray hmac(const QByteArray &key, const std::string &text)
{
    return QMessageAuthenticationCode::hash(QByteArray::fromStdString(text), key,
                                            QCryptographicHash::Sha256);
}

} // namespace

std::string percentEncoded(std::string_view text, bool keepSlash)
{
    return QByteArray::fromRawData(text.data(), static_cast<int>(text.size()))
        .toPercentEncoding(keepSlash ? "/" : "")
        .toStdString();
}

std::string canonicalQuery(const NameValues &query)
{
    NameValues encoded;
    for (const auto &[name, value] : query)
        encoded.emplace_back(percentEncoded(name, false), percentEncoded(value, false));
    std::sort(encoded.begin(), encoded.end());
    std::string result;
    for (const auto &[name, value] : encoded)
        result.append(result.empty() ? "" : "&").append(name).append("=").append(value);
    return result;
}

std::string amzDate(std::time_t time)
{
    return QDateTime::fromSecsSinceEpoch(time, Qt::UTC)
        .toString("yyyyMMdd'T'HHmmss'Z'")
        .toStdString();
}

std::string authorization(const SigningInput &input)
{
    NameValues headers = input.headers;
    std::sort(headers.begin(), headers.end());
    std::string headerLines;
    std::string signedHeaders;
    for (const auto &[name, value] : headers) {
        headerLines.append(name).append(":").append(value).append("\n");
        signedHeaders.append(signedHeaders.empty() ? "" : ";").append(name);
    }
    const std::string canonicalRequest = input.method + "\n" + input.path + "\n" + input.query +
                                         "\n" + headerLines + "\n" + signedHeaders + "\n" +
                                         input.payloadHash;

    const std::string date = amzDate(input.time);
    const std::string day = date.substr(0, 8);
    const std::string scope = day + "/" + input.region + "/s3/aws4_request";
    const QByteArray requestHash = QCryptographicHash::hash(
        QByteArray::fromStdString(canonicalRequest), QCryptographicHash::Sha256);
    const std::string stringToSign = std::string(kAlgorithm) + "\n" + date + "\n" + scope + "\n" +
                                     requestHash.toHex().toStdString();

    QByteArray key = hmac("AWS4" + QByteArray::fromStdString(input.secret), day);
    for (const std::string &part : {input.region, std::string("s3"), std::string("aws4_request")})
        key = hmac(key, part);
    return std::string(kAlgorithm) + " Credential=" + input.accessKey + "/" + scope +
           ",SignedHeaders=" + signedHeaders +
           ",Signature=" + hmac(key, stringToSign).toHex().toStdString();
}

} // namespace hq
