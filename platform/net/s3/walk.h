// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/s3address.h"
#include "net/network.h"

#include <string>

namespace hq {

// Walks one level of a bucket, prefix or account; `written` is the address as given.
bool walkS3(const S3Address &address, const std::string &written, const network::Entry &entry);

// Whether the address is an account, a bucket or a prefix that has entries.
bool isS3Folder(const S3Address &address);

} // namespace hq
