// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace hq {

// A local file that is written beside its destination and moved into place when it is complete;
// destruction before that leaves nothing behind. Every false sets the thread's last error.
class TargetFile
{
public:
    enum class Access { Default, OwnerOnly };

    // Makes the temporary file; null when the folder is missing or refuses it.
    static std::unique_ptr<TargetFile> create(const std::string &destination, Access access);
    virtual ~TargetFile() = default;

    // Takes `size` bytes of disk space now, so that a full disk shows before the work is done.
    virtual bool reserve(std::int64_t size) = 0;
    // Calls for ranges that do not overlap may come from several threads.
    virtual bool writeAt(std::int64_t offset, const char *data, std::size_t size) = 0;
    // Cuts the file at `size` bytes.
    virtual bool resize(std::int64_t size) = 0;
    // Moves the file into place. With `keepExisting` an existing destination stays: FileExists.
    virtual bool commit(bool keepExisting) = 0;
};

} // namespace hq
