// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What the files of POSIX systems share.
#pragma once

#include <cerrno>
#include <string>
#include <sys/types.h>

namespace hq::system {

// Sets the last error to what Windows calls `code`; false.
bool failWith(int code);
// The same, and tells a missing folder from a missing file, as Windows does.
bool failForPath(int code, const std::string &path);

// The path with "/" for each "\".
std::string slashed(std::string path);
// The spelling under which something is there. File names may hold a "\", so a path that is
// missing with "/" is looked for as it is written.
std::string existing(const std::string &path);

template <typename Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

// open() for a descriptor that child processes do not get.
int openFile(const std::string &path, int flags, mode_t mode = 0);

} // namespace hq::system
