// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "copyprogress.h"
#include "nativefile.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace hq {

// A local file on its way to its name, which it gets when it is complete and on the disk. A file
// that is not completed leaves nothing behind, where the system can do that even when the process
// is killed; elsewhere the remains are removed when the next file is made in that folder. Every
// false sets the thread's last error; a stopped token ends each call with Cancelled.
// QSaveFile does less: it always replaces, tells no codes and leaves its file behind when the
// process is killed.
class TargetFile
{
public:
    // Null when the folder is missing or refuses it, when the name is too long, and with
    // `keepExisting` when it is taken.
    static std::unique_ptr<TargetFile> create(const std::string &destination, system::Rights rights,
                                              bool keepExisting);
    ~TargetFile();
    TargetFile(const TargetFile &) = delete;
    TargetFile &operator=(const TargetFile &) = delete;

    // Takes `size` bytes of disk space now, so that a full disk shows before the work is done.
    bool reserve(std::int64_t size);
    // Calls for ranges that do not overlap may come from several threads. Now and then one waits
    // for the disk, so that little is left to wait for in the end.
    bool writeAt(std::int64_t offset, const char *data, std::size_t size);
    // Empties the file, so that it can be filled from the start again.
    bool clear();
    // Fills the empty file; an empty `progress` is allowed.
    bool copyFrom(const system::NativeFile &source, const CopyProgressCallback &progress);
    // Waits for the disk and gives the file its name. An existing file is replaced, or stays and
    // makes it fail with FileExists, as `keepExisting` said.
    bool commit();

private:
    using Clock = std::chrono::steady_clock;

    TargetFile(std::string target, bool keepExisting);
    bool open(system::Rights rights);
    bool pace(std::int64_t size);
    bool place();
    bool takeName();

    const std::string m_target;
    const bool m_keepExisting;
    system::NativeFile m_file;
    std::string m_name; // empty while there is none
    bool m_isPlaced = false;

    std::mutex m_mutex; // for what follows
    std::int64_t m_block;
    std::int64_t m_unwritten = 0; // bytes since the last wait for the disk
    Clock::time_point m_lastWait = Clock::now();
};

} // namespace hq
