// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "base/file.h"
#include "hqutil.h"

#include <memory>
#include <mutex>
#include <unordered_map>

namespace hq {

// Gives open files the handles of the C interface. A handle is a number that is never used again,
// so that a closed or made-up one is recognised instead of followed. Any thread.
class HandleTable
{
public:
    static HandleTable &instance();

    HQHANDLE add(std::unique_ptr<File> file);

    // Runs `call(File &)`, one call at a time for each file; false with InvalidHandle when there
    // is no such file.
    template <typename Call>
    bool with(HQHANDLE handle, Call call)
    {
        const std::shared_ptr<Entry> entry = find(handle);
        if (!entry)
            return fail(Error::InvalidHandle);
        const std::lock_guard<std::mutex> lock(entry->mutex);
        // A call that waited for the close finds the file gone.
        return entry->file ? call(*entry->file) : fail(Error::InvalidHandle);
    }

    // Waits for a call that is under way, then completes the file.
    bool close(HQHANDLE handle);

private:
    struct Entry
    {
        std::mutex mutex;
        std::unique_ptr<File> file;
    };

    std::shared_ptr<Entry> find(HQHANDLE handle);

    std::mutex m_mutex;
    std::unordered_map<std::uintptr_t, std::shared_ptr<Entry>> m_entries;
    // Far from small numbers and null, which are what a wrong handle usually is; odd steps keep
    // clear of addresses too.
    std::uintptr_t m_next = 0x48510001;
};

} // namespace hq
