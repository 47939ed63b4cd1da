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
bool headOrGet(S3Resource &headed, S3Resource &got, const RequestOptions &get,
               HttpResponse *response, const Patience &patience,
               const ResponseCheckCallback &check = {})
{
    RequestOptions head;
    head.method = "HEAD";
    if (perform(headed, head, response, {}, patience))
        return true;
    if (response->result != CURLE_OK || response->status < 300 || response->status >= 500 ||
        response->isFromProxy)
        return false;
    return perform(got, get, response, check, patience);
}

// Success alone does not make a listing: errors can come with a 200.
bool isListing(const HttpResponse &response)
{
    return parseS3Listing(response.body).has_value();
}

bool findKey(const S3Address &address, const std::string &key, S3Object *object,
             HttpResponse *response, const Patience &patience)
{
    auto resource = std::make_unique<S3Resource>(address, key);
    RequestOptions firstByte;
    firstByte.range = "bytes=0-0";
    const bool found = headOrGet(*resource, *resource, firstByte, response, patience);
    const ContentRange range = contentRange(*response);
    // No first byte to be had: an empty object.
    const bool empty = !found && response->status == 416 && range.total == 0;
    if (!found && !empty)
        return false;
    object->size = response->status == 200 ? response->contentLength() : range.total;
    object->validator = Validator(*response);
    object->latencyMicroseconds = response->latencyMicroseconds;
    object->resource = std::move(resource);
    return true;
}

} // namespace

S3Object findObject(const S3Address &address, HttpResponse *response, const Patience &patience)
{
    S3Object object;
    const std::string key = address.key();
    if (!findKey(address, key, &object, response, patience) && response->status == 404 &&
        key != address.rawKey)
        findKey(address, address.rawKey, &object, response, patience);
    return object;
}

bool headBucket(const S3Address &address, HttpResponse *response)
{
    if (address.bucket.empty()) {
        S3Resource account(address, {});
        return perform(account, {}, response, isListing);
    }
    S3Resource bucket(address, {});
    S3Resource listing(address, {}, S3Paginator({}, 1).query());
    return headOrGet(bucket, listing, {}, response, Patience::ofPerson(), isListing);
}

} // namespace hq
