// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The forms of source addresses. Nothing in them is escaped. Any thread.
#pragma once

#include <QString>

// The S3 service endpoint host: the site of S3 sources that name none.
QString s3ServiceHost();

// The provider's service domain: the endpoint host without its first label.
QString s3ServiceDomain();

// "s3://" key ":" secret "@" site "/", to be followed by a bucket.
QString s3AddressStart(const QString &key, const QString &secret, const QString &site);

// Whether the address has credentials in it (an access key or secret, a user part, a presigned
// query), and must therefore not be left where others can read it. What of it may be shown is
// hq::harmlessAddress().
bool holdsCredentials(const QString &address);

// The address as stream files hold it, with one "/" in front of the bucket: the walk of an account
// reports "s3://" ... site "//" bucket. Every other text stays as it is.
QString usualAddress(const QString &address);

// The directory, "\" unless it ends in one, and the name. Relied on.
QString withName(const QString &directory, const QString &name);

// The address, "\", and the part. No "\" is added where the address ends in one or the part begins
// with one. Relied on.
QString withPart(const QString &address, const QString &part);
