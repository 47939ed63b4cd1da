// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "localfile.h"

#include "stoptoken.h"
#include "system.h"
#include "targetfile.h"
#include "text.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace hq::local {

namespace {

class ReadFile : public File
{
public:
    explicit ReadFile(system::NativeFile &&file) : m_file(std::move(file)) {}

    bool read(void *buffer, std::uint32_t count, std::uint32_t *read) override
    {
        std::size_t done = 0;
        const std::int64_t room = std::numeric_limits<std::int64_t>::max() - m_position;
        count = static_cast<std::uint32_t>(std::min<std::int64_t>(count, room));
        if (!m_file.readAt(m_position, buffer, count, &done))
            return false;
        m_position += static_cast<std::int64_t>(done);
        *read = static_cast<std::uint32_t>(done);
        return true;
    }

    bool size(std::int64_t *size) override { return m_file.size(size); }

    bool seek(std::int64_t position) override
    {
        if (position < 0)
            return fail(Error::InvalidParameter);
        m_position = position;
        return true;
    }

private:
    system::NativeFile m_file;
    std::int64_t m_position = 0;
};

class WriteFile : public File
{
public:
    explicit WriteFile(std::unique_ptr<TargetFile> target) : m_target(std::move(target)) {}

    bool size(std::int64_t *size) override
    {
        *size = m_size;
        return true;
    }

    bool write(const char *data, std::size_t size) override
    {
        if (m_error != 0 || !m_target->writeAt(m_size, data, size)) {
            m_error = m_error != 0 ? m_error : lastError();
            setLastSystemError(m_error);
            return false;
        }
        m_size += static_cast<std::int64_t>(size);
        return true;
    }

    bool close() override
    {
        if (m_error == 0)
            return m_target->commit();
        setLastSystemError(m_error);
        return false;
    }

private:
    std::unique_ptr<TargetFile> m_target;
    std::int64_t m_size = 0;
    std::uint32_t m_error = 0;
};

} // namespace

std::unique_ptr<File> openForReading(const std::string &path)
{
    auto file = system::NativeFile::openForReading(path);
    return file.isOpen() ? std::make_unique<ReadFile>(std::move(file)) : nullptr;
}

std::unique_ptr<File> openForWriting(const std::string &path)
{
    auto target = TargetFile::create(path, system::kOwnerOnly, false);
    return target ? std::make_unique<WriteFile>(std::move(target)) : nullptr;
}

bool walk(const std::string &folder, const WalkCallback &entry)
{
    std::vector<system::FolderEntry> entries;
    if (!system::listFolder(folder, &entries, [] { return !isStopped(); }))
        return false;
    std::sort(entries.begin(), entries.end(),
              [](const auto &a, const auto &b) { return a.name < b.name; });
    std::string prefix = folder;
    if (prefix.empty() || !isAddressSeparator(prefix.back()))
        prefix += system::separator();
    for (const system::FolderEntry &found : entries) {
        if (isStopped())
            return fail(Error::Cancelled);
        if (!entry(prefix + found.name, found.isFolder))
            break;
    }
    return true;
}

bool copy(const std::string &source, const std::string &destination, bool keepExisting,
          const CopyProgressCallback &progress)
{
    const auto from = system::NativeFile::openForReading(source);
    if (!from.isOpen())
        return false;
    const auto target = TargetFile::create(destination, from.rights(), keepExisting);
    return target && target->copyFrom(from, progress) && target->commit();
}

} // namespace hq::local
