// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/file.h"
#include "base/s3address.h"

#include <string>

namespace hq {

// Walks one level of a bucket, prefix or account, on the calling thread; `written` is the address
// as given, with which every reported address begins. True when the level is complete, empty, or
// `entry` ended the walk by false. False when it broke off: the last error and its details say why
// (Cancelled when a stop token of the thread was stopped), and the entries reported before are
// good.
bool walkS3(const S3Address &address, const std::string &written, const WalkCallback &entry);

// Whether the address is an account, a bucket or a prefix that has entries. False sets the last
// error: FileNotFound when there are none, another code when that could not be found out.
bool isS3Folder(const S3Address &address);

} // namespace hq
