// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "copyprogress.h"
#include "file.h"

#include <memory>
#include <string>

namespace hq::local {

// The calls of the utility library on local paths. Null and false set the thread's last error.

std::unique_ptr<File> openForReading(const std::string &path);

// Collects what is written in a file beside `path` that only its owner can read; close() puts it
// in place. After a failed write close() fails too and an old file stays.
std::unique_ptr<File> openForWriting(const std::string &path);

// Reports each entry that is not hidden in the order of the names' bytes, until `entry` returns
// false.
bool walk(const std::string &folder, const WalkCallback &entry);

// The destination appears when it is complete; nothing is left behind on failure.
bool copy(const std::string &source, const std::string &destination, bool keepExisting,
          const CopyProgressCallback &progress);

} // namespace hq::local
