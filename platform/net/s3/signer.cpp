// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/signer.h"

#include "net/s3/endpoint.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QMessageAuthenticationCode>

namespace hq {

namespace {

QByteArray hmac(const QByteArray &key, const std::string &text)
{
    return QMessageAuthenticationCode::hash(QByteArray::fromStdString(text), key,
                                            QCryptographicHash::Sha256);
}

// The value of the Authorization header.
std::string authorization(const S3Address &address, const std::string &region,
                          const std::string &date, const std::string &canonicalRequest,
                          const std::string &signedHeaders)
{
    const std::string algorithm = "AWS4-HMAC-SHA256";
    const std::string day = date.substr(0, 8);
    const std::string scope = day + "/" + region + "/s3/aws4_request";
    const QByteArray requestHash = QCryptographicHash::hash(
        QByteArray::fromStdString(canonicalRequest), QCryptographicHash::Sha256);
    const std::string stringToSign =
        algorithm + "\n" + date + "\n" + scope + "\n" + requestHash.toHex().toStdString();

    QByteArray key = hmac("AWS4" + QByteArray::fromStdString(address.secret), day);
    for (const std::string &part : {region, std::string("s3"), std::string("aws4_request")})
        key = hmac(key, part);
    return algorithm + " Credential=" + address.accessKey + "/" + scope +
           ",SignedHeaders=" + signedHeaders +
           ",Signature=" + hmac(key, stringToSign).toHex().toStdString();
}

} // namespace

HttpRequest s3Request(const S3Address &address, const std::string &key, const NameValues &query,
                      const RequestOptions &options, const std::string &region, std::time_t time)
{
    const S3Endpoint endpoint = s3Endpoint(address.site, address.bucket, region);
    std::string path = "/";
    if (!endpoint.bucketInHost)
        path += percentEncoded(address.bucket, false) + (key.empty() ? "" : "/");
    path += percentEncoded(key, true);
    const std::string queryText = canonicalQuery(query);

    HttpRequest request = requestWith(options);
    request.url =
        endpoint.scheme + "://" + endpoint.host + path + (queryText.empty() ? "" : "?") + queryText;
    if (!address.isSigned())
        return request;

    const std::string payload = "UNSIGNED-PAYLOAD";
    const std::string signedHeaders = "host;x-amz-content-sha256;x-amz-date";
    const std::string date =
        QDateTime::fromSecsSinceEpoch(time, Qt::UTC).toString("yyyyMMdd'T'HHmmss'Z'").toStdString();
    const std::string canonicalRequest =
        options.method + "\n" + path + "\n" + queryText + "\nhost:" + endpoint.host +
        "\nx-amz-content-sha256:" + payload + "\nx-amz-date:" + date + "\n\n" + signedHeaders +
        "\n" + payload;
    request.headers.push_back("x-amz-content-sha256: " + payload);
    request.headers.push_back("x-amz-date: " + date);
    request.headers.push_back(
        "Authorization: " + authorization(address, region, date, canonicalRequest, signedHeaders));
    return request;
}

} // namespace hq
