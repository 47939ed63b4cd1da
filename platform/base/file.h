// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "lasterror.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace hq {

// Called with each entry of a walk; false ends it.
using WalkCallback = std::function<bool(const std::string &address, bool isFolder)>;

// What stands behind a handle. Not thread safe; the handle table serves one call after the other.
// Every false sets the thread's last error.
class File
{
public:
    File() = default;
    File(const File &) = delete;
    File &operator=(const File &) = delete;
    virtual ~File() = default;

    // Fills `buffer` with `count` bytes, fewer only at the end; `*read` is the number.
    virtual bool read(void *, std::uint32_t, std::uint32_t *) { return fail(Error::NotSupported); }
    // -1 stands for an unknown size.
    virtual bool size(std::int64_t *) { return fail(Error::NotSupported); }
    virtual bool seek(std::int64_t) { return fail(Error::NotSupported); }
    virtual bool write(const char *, std::size_t) { return fail(Error::NotSupported); }
    // Whether the source says that more of it stands elsewhere.
    virtual bool hasNextPage() const { return false; }
    // Completes a written file. Destruction without it leaves no trace of the write.
    virtual bool close() { return true; }
};

} // namespace hq
