// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/s3/client.h"

#include "net/s3/documents.h"
#include "net/s3/paginator.h"
#include "net/s3/resource.h"

namespace hq {

namespace {

// A HEAD is cheap, but its refusal has no document that names the reason, and some servers refuse
// HEAD alone: then the GET, the smallest that proves the same, has the last word.
bool headOrGet(S3Resource &headed, S3Resource &got, const RequestOptions &get, HttpAnswer *answer,
               const Patience &patience, const AnswerCheck &check = {})
{
    RequestOptions head;
    head.method = "HEAD";
    if (perform(headed, head, answer, {}, patience))
        return true;
    if (answer->result != CURLE_OK || answer->status < 300 || answer->status >= 500 ||
        answer->isFromProxy)
        return false;
    return perform(got, get, answer, check, patience);
}

// Success alone does not make a listing: errors can come with a 200.
bool isListing(const HttpAnswer &answer)
{
    return parseS3Listing(answer.body).has_value();
}

bool findKey(const S3Address &address, const std::string &key, S3Object *object, HttpAnswer *answer,
             const Patience &patience)
{
    auto resource = std::make_unique<S3Resource>(address, key);
    RequestOptions firstByte;
    firstByte.range = "bytes=0-0";
    const bool found = headOrGet(*resource, *resource, firstByte, answer, patience);
    const ContentRange range = contentRange(*answer);
    // No first byte to be had: an empty object.
    const bool empty = !found && answer->status == 416 && range.total == 0;
    if (!found && !empty)
        return false;
    object->size = answer->status == 200 ? answer->contentLength() : range.total;
    object->validator = Validator(*answer);
    object->latencyMicroseconds = answer->latencyMicroseconds;
    object->resource = std::move(resource);
    return true;
}

} // namespace

S3Object findObject(const S3Address &address, HttpAnswer *answer, const Patience &patience)
{
    S3Object object;
    const std::string key = address.key();
    if (!findKey(address, key, &object, answer, patience) && answer->status == 404 &&
        key != address.rawKey)
        findKey(address, address.rawKey, &object, answer, patience);
    return object;
}

bool proveBucket(const S3Address &address, HttpAnswer *answer)
{
    if (address.bucket.empty()) {
        S3Resource account(address, {});
        return perform(account, {}, answer, isListing);
    }
    S3Resource bucket(address, {});
    S3Resource listing(address, {}, S3Paginator({}, 1).query());
    return headOrGet(bucket, listing, {}, answer, Patience::ofPerson(), isListing);
}

} // namespace hq
