// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "targetfile.h"

#include "lasterror.h"
#include "stoptoken.h"
#include "system.h"
#include "temporaryfile.h"

#include <QThreadPool>

#include <algorithm>
#include <chrono>
#include <utility>

namespace hq {

namespace {

using std::chrono::milliseconds;

// A wait for the disk is to be short enough for a stop, and what is left for the last one too: a
// block is what the disk takes in about this time, or what came in.
constexpr milliseconds kLongWait{100};
constexpr milliseconds kShortWait{25};
constexpr milliseconds kMaxPause{250};
constexpr std::int64_t kMaxBlock = 64 << 20;
constexpr std::size_t kChunk = 1 << 20;

bool goOn()
{
    return !isStopped() || fail(Error::Cancelled);
}

} // namespace

TargetFile::TargetFile(std::string target, bool keepExisting)
    : m_target(std::move(target)), m_keepExisting(keepExisting), m_block(system::minWriteBack())
{
}

TargetFile::~TargetFile()
{
    if (m_isPlaced || !m_file.isOpen())
        return;
    const LastErrorKeeper keeper;
    m_file.remove(m_name);
    // Freeing gigabytes takes time, so another thread does it.
    if (m_file.isOpen())
        QThreadPool::globalInstance()->start(
            [handle = m_file.release()] { const system::NativeFile closedHere(handle); });
}

std::unique_ptr<TargetFile> TargetFile::create(const std::string &destination,
                                               system::Rights rights, bool keepExisting)
{
    std::string target = writableTarget(destination, keepExisting);
    std::unique_ptr<TargetFile> file(new TargetFile(std::move(target), keepExisting));
    if (file->m_target.empty() || !file->open(rights)) {
        blameTarget();
        return nullptr;
    }
    system::removeAbandoned(folderOf(file->m_target), file->m_file, [] { return !isStopped(); });
    return file;
}

bool TargetFile::open(system::Rights rights)
{
    m_file = system::NativeFile::createNameless(folderOf(m_target), rights);
    if (m_file.isOpen())
        return true;
    m_name = makeTemporaryFile(m_target, rights, &m_file);
    return !m_name.empty();
}

bool TargetFile::reserve(std::int64_t size)
{
    return m_file.reserve(size, [] { return !isStopped(); }) || blameTarget();
}

bool TargetFile::writeAt(std::int64_t offset, const char *data, std::size_t size)
{
    return (m_file.writeAt(offset, data, size) && pace(static_cast<std::int64_t>(size))) ||
           blameTarget();
}

bool TargetFile::clear()
{
    return m_file.clear() || blameTarget();
}

bool TargetFile::copyFrom(const system::NativeFile &source, const CopyProgressCallback &progress)
{
    std::int64_t total = 0;
    std::int64_t done = 0;
    std::int64_t paced = 0;
    const auto step = [&](std::int64_t copied, std::int64_t all) {
        if (!goOn() || !pace(copied - std::exchange(paced, copied)))
            return false;
        if (progress)
            progress(copied, all);
        return true;
    };
    if (!source.size(&total) || !m_file.copyQuickly(source, total, step, &done))
        return false;
    const std::unique_ptr<char[]> buffer(new char[kChunk]);
    for (std::size_t read = kChunk; read == kChunk;) {
        if (!source.readAt(done, buffer.get(), kChunk, &read))
            return false;
        if (!m_file.writeAt(done, buffer.get(), read))
            return blameTarget();
        done += static_cast<std::int64_t>(read);
        if (!step(done, std::max(done, total)))
            return false;
    }
    m_file.takeTimesOf(source);
    return true;
}

bool TargetFile::pace(std::int64_t size)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_unwritten += size;
    const auto begin = Clock::now();
    if (m_unwritten < m_block && begin - m_lastWait < kMaxPause)
        return true;
    if (!m_file.writeBack())
        return false;
    m_unwritten = 0;
    m_lastWait = Clock::now();
    if (m_lastWait - begin > kLongWait)
        m_block = std::max(m_block / 2, system::minWriteBack());
    else if (m_lastWait - begin < kShortWait)
        m_block = std::min(m_block * 2, kMaxBlock);
    return true;
}

bool TargetFile::commit()
{
    if (!m_file.isOpen())
        return fail(Error::InvalidHandle);
    const bool isLong = m_unwritten >= system::minWriteBack();
    if (!goOn() || (isLong && !m_file.writeBack()) || !goOn() || !m_file.sync() || !goOn() ||
        !place())
        return blameTarget();
    m_isPlaced = true;
    // Whoever sees the copy finished may delete the source.
    m_file.syncName(m_target);
    m_file = {};
    return true;
}

bool TargetFile::place()
{
    if (m_name.empty()) {
        if (m_file.link(m_target))
            return true;
        const bool isTaken = isLastError(Error::FileExists);
        if (isTaken && m_keepExisting)
            return false;
        if (isTaken)
            m_name = makeTemporary(m_target,
                                   [this](const std::string &name) { return m_file.link(name); });
        else if (!takeName())
            return false;
    }
    return !m_name.empty() && m_file.rename(m_name, m_target, m_keepExisting);
}

// For systems that make files without a name and give them none later.
bool TargetFile::takeName()
{
    const system::NativeFile nameless = std::exchange(m_file, {});
    m_name = makeTemporaryFile(m_target, nameless.rights(), &m_file);
    return !m_name.empty() && copyFrom(nameless, {}) && m_file.sync();
}

} // namespace hq
