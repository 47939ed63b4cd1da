// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the network side offers to the entry points of the utility library, which log its failures.
// Every null and false but that of `entry` sets the thread's last error.
#pragma once

#include "base/file.h"
#include "copyprogress.h"

#include <memory>
#include <string>

namespace hq::network {

// Proves that the source is there and opens it; null on failure.
std::unique_ptr<File> open(const std::string &address);

// Whether the address is an account, a bucket, or a prefix that has entries. False is FileNotFound
// when there is none, else another error.
bool isFolder(const std::string &address);

// Reports each entry directly inside by its full address, until `entry` returns false. True when
// the walk is complete or `entry` ended it, false when it broke off; the entries reported before
// that are good.
bool walk(const std::string &address, const WalkCallback &entry);

// Copies to a local destination; nothing is left behind on failure.
bool copy(const std::string &address, const std::string &destination, bool keepExisting,
          const CopyProgressCallback &progress);

} // namespace hq::network
