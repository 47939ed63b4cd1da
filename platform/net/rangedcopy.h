// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/targetfile.h"
#include "copyprogress.h"
#include "net/s3/client.h"

namespace hq {

// Objects up to this size are not worth more than one request.
constexpr std::int64_t kMaxSinglePart = 16 * 1024 * 1024;

// Copies a large object in parts over as many connections as pay, all on the calling thread. Every
// part insists on the version of the object and is retried on its own, from the byte it got to. On
// false the last error says why, and `target`, which holds pieces, is not to be committed.
bool copyInParts(const S3Object &object, TargetFile &target, const CopyProgressCallback &progress);

} // namespace hq
