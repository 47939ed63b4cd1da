// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

namespace hq::system {

// The permission bits of a new file, as far as the umask allows. Windows knows kOwnerOnly alone;
// with any other value the folder hands its rights down.
using Rights = std::uint32_t;
constexpr Rights kOwnerOnly = 0600;
constexpr Rights kUsualRights = 0666;

// Bytes there so far and in all; false, with the last error, ends a copy. Called every MiB or so.
using CopyStepCallback = std::function<bool(std::int64_t done, std::int64_t total)>;

// Who can read what is written to a file that is meant for its owner only.
enum class Exposure {
    None,
    ToOpeners, // who had it open before
    ToOthers,
};

// An open file, closed on destruction; child processes do not inherit it. Paths are UTF-8. Every
// false and every file that is not open sets the thread's last error. QFile knows neither rights
// nor locks nor names given later, and tells failures without their codes.
class NativeFile
{
public:
    NativeFile() = default;
    // Takes over a handle of the operating system.
    explicit NativeFile(std::intptr_t handle) : m_handle(handle) {}
    NativeFile(NativeFile &&other) noexcept : m_handle(other.release()) {}
    NativeFile &operator=(NativeFile &&other) noexcept
    {
        std::swap(m_handle, other.m_handle);
        return *this;
    }
    ~NativeFile();

    // Never blocks: folders are denied, pipes and other special files are not supported.
    static NativeFile openForReading(const std::string &path);
    // Makes a missing file readable by its owner only.
    static NativeFile openForAppending(const std::string &path);
    // Opens for writing, emptied; a missing file is made. A pipe that nobody reads does not open.
    // With `ownerOnly` a regular file is for its owner only from its first moment: one that others
    // can read is replaced, or narrowed where its folder forbids that. `*exposure` tells how far.
    static NativeFile openForOverwriting(const std::string &path, bool ownerOnly,
                                         Exposure *exposure);
    // A new file in a folder ("" is the current one) that has no name until link() and vanishes if
    // the process ends before. Not open where the system has no such files.
    static NativeFile createNameless(const std::string &folder, Rights rights);
    // A new file, locked as long as it is open. Where the system can do that, it vanishes if the
    // process ends before rename(). Fails with FileExists when the name is taken.
    static NativeFile createLocked(const std::string &path, Rights rights);

    bool isOpen() const { return m_handle != kClosed; }
    std::intptr_t handle() const { return m_handle; }
    // The handle, now the caller's.
    std::intptr_t release() { return std::exchange(m_handle, kClosed); }
    // A descriptor of the C library in place of the handle, now the caller's; -1 when there is
    // none.
    int releaseDescriptor();
    // Fewer than `count` bytes only at the end.
    bool readAt(std::int64_t offset, void *buffer, std::size_t count, std::size_t *read) const;
    bool writeAt(std::int64_t offset, const char *data, std::size_t size) const;
    // One write behind everything that is there; `*end` is the position behind it.
    bool append(const char *data, std::size_t size, std::int64_t *end) const;
    bool size(std::int64_t *size) const;
    // Empties the file and gives back its space.
    bool clear() const;
    // What a copy of this file may have, so that nobody reads it who could not read this one.
    Rights rights() const;
    // Takes disk space for `size` bytes, where the file system can; a lack of space fails. `goOn`
    // false stops with Cancelled.
    bool reserve(std::int64_t size, const std::function<bool()> &goOn) const;
    // Fills this empty file by the quickest means of the system. On true `*done` bytes are there,
    // which can be fewer than `total`, or none where the system has no such means.
    bool copyQuickly(const NativeFile &source, std::int64_t total, const CopyStepCallback &step,
                     std::int64_t *done) const;
    // Gives a complete copy what the system's own copies keep beside the content.
    void takeTimesOf(const NativeFile &source) const;

    // Begins to write to the disk what the file holds by now, and waits for what the previous call
    // began. Where the system cannot do that, waits for everything.
    bool writeBack() const;
    // Waits until the content is on the disk.
    bool sync() const;
    // Waits until `name`, where this file stands now, is on the disk. Tried only.
    void syncName(const std::string &name) const;

    // Gives a nameless file its name; FileExists when it is taken.
    bool link(const std::string &name) const;
    // Renames this file. With `keepExisting` it fails with FileExists when `to` is there, also
    // when that appears at the same moment.
    bool rename(const std::string &from, const std::string &to, bool keepExisting);
    // Removes this file; `name` is empty for a nameless one. The file may be there until it is
    // closed, which takes time for a large one.
    void remove(const std::string &name);

private:
    static constexpr std::intptr_t kClosed = -1;

    std::intptr_t m_handle = kClosed;
};

// How many bytes at least are worth a writeBack().
std::int64_t minWriteBack();

} // namespace hq::system
