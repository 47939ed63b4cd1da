// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "handletable.h"

namespace hq {

namespace {

std::uintptr_t number(HQHANDLE handle)
{
    return reinterpret_cast<std::uintptr_t>(handle);
}

} // namespace

HandleTable &HandleTable::instance()
{
    // Never destroyed: a thread may still be at work when the process ends.
    static auto *table = new HandleTable;
    return *table;
}

HQHANDLE HandleTable::add(std::unique_ptr<File> file)
{
    auto entry = std::make_shared<Entry>();
    entry->file = std::move(file);
    const std::lock_guard<std::mutex> lock(m_mutex);
    const std::uintptr_t handle = m_next;
    m_entries.emplace(handle, std::move(entry));
    m_next += 2;
    return reinterpret_cast<HQHANDLE>(handle);
}

std::shared_ptr<HandleTable::Entry> HandleTable::find(HQHANDLE handle)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_entries.find(number(handle));
    return found == m_entries.end() ? nullptr : found->second;
}

bool HandleTable::close(HQHANDLE handle)
{
    std::unique_lock<std::mutex> all(m_mutex);
    const auto node = m_entries.extract(number(handle));
    all.unlock();
    if (!node)
        return fail(Error::InvalidHandle);
    const std::shared_ptr<Entry> entry = node.mapped();
    const std::lock_guard<std::mutex> lock(entry->mutex);
    const std::unique_ptr<File> file = std::move(entry->file);
    return file->close();
}

} // namespace hq
