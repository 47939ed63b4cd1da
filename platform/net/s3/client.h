// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Finding what S3 addresses name.
#pragma once

#include "base/s3address.h"
#include "net/resource.h"
#include "net/validator.h"

#include <memory>

namespace hq {

// An object that is there.
struct S3Object
{
    std::unique_ptr<Resource> resource;
    std::int64_t size = 0; // -1 when the server does not tell
    Validator validator;
    int latencyMicroseconds = 0; // from a request to its response
};

// Asks for the object by its key; where "\" was taken as "/" and nothing is found, once more as it
// is written. On failure `resource` is null and the last error is set. `*response` is the last
// response either way.
S3Object findObject(const S3Address &address, HttpResponse *response,
                    const Patience &patience = Patience::ofPerson());

// Proves that the bucket, or the account when the bucket is empty, lets the address in; false sets
// the last error. `*response` is the last response either way.
bool headBucket(const S3Address &address, HttpResponse *response);

} // namespace hq
