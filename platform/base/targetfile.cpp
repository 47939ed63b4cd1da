// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/targetfile.h"

#include "base/lasterror.h"
#include "base/system.h"
#include "base/temporaryfile.h"
#include "transfer.h"

#include <utility>

namespace hq {

namespace {

class SystemTargetFile : public TargetFile
{
public:
    SystemTargetFile(system::NativeFile &&file, std::string temporary, std::string target,
                     Access access)
        : m_file(std::move(file))
        , m_temporary(std::move(temporary))
        , m_target(std::move(target))
        , m_access(access)
    {
    }

    ~SystemTargetFile() override
    {
        if (m_temporary.empty())
            return;
        m_file = {}; // an open file cannot be removed everywhere
        discard(m_temporary);
    }

    bool reserve(std::int64_t size) override
    {
        return m_file.reserve(size, [] { return !isStopped(); });
    }

    bool writeAt(std::int64_t offset, const char *data, std::size_t size) override
    {
        return m_file.writeAt(offset, data, size);
    }

    bool resize(std::int64_t size) override { return m_file.resize(size); }

    bool commit(bool keepExisting) override
    {
        if (!m_file.isOpen())
            return fail(Error::InvalidHandle);
        // Private files are small and replace others: they are on the disk before the old one
        // goes. Copies may be large and can be made again.
        if (m_access == Access::OwnerOnly && !m_file.sync())
            return false;
        if (!m_file.close())
            return false;
        if (!(keepExisting ? system::renameNew(m_temporary, m_target)
                           : system::renameOver(m_temporary, m_target)))
            return false;
        m_temporary.clear();
        return true;
    }

private:
    system::NativeFile m_file;
    std::string m_temporary;
    std::string m_target;
    Access m_access;
};

} // namespace

std::unique_ptr<TargetFile> TargetFile::create(const std::string &destination, Access access)
{
    std::string target = writableTarget(destination);
    if (target.empty())
        return nullptr;
    system::NativeFile file;
    std::string temporary = makeTemporary(target, [&](const std::string &name) {
        file = system::NativeFile::createNew(name, access == Access::OwnerOnly);
        return file.isOpen();
    });
    if (temporary.empty())
        return nullptr;
    return std::make_unique<SystemTargetFile>(std::move(file), std::move(temporary),
                                              std::move(target), access);
}

} // namespace hq
