// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the network side offers to the entry points of the utility library, which log its failures.
#pragma once

#include "base/file.h"
#include "copyprogress.h"

#include <functional>
#include <memory>
#include <string>

namespace hq::network {

// Proves that the source is there and opens it; null on failure.
std::unique_ptr<File> open(const std::string &address);

// True when the address is a bucket or a prefix that has entries.
bool isFolder(const std::string &address);

// Reports each entry by its full address until `entry` returns false; false when the walk breaks
// off.
using Entry = std::function<bool(const std::string &address, bool isFolder)>;
bool walk(const std::string &address, const Entry &entry);

// Copies to a local destination; nothing is left behind on failure.
bool copy(const std::string &address, const std::string &destination, bool keepExisting,
          const CopyProgress &progress);

} // namespace hq::network
