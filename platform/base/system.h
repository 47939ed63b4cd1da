// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Everything that differs between operating systems. Paths are UTF-8; where they are separated by
// "/", a "\" counts as one too. Every false and every file that is not open sets the thread's
// last error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace hq::system {

// An open file, closed on destruction; child processes do not inherit it.
class NativeFile
{
public:
    NativeFile() = default;
    // Takes over a handle of the operating system.
    explicit NativeFile(std::intptr_t handle) : m_handle(handle) {}
    NativeFile(NativeFile &&other) noexcept;
    NativeFile &operator=(NativeFile &&other) noexcept;
    ~NativeFile();

    // Never blocks: folders are denied, pipes and other special files are not supported.
    static NativeFile openForReading(const std::string &path);
    // Fails with FileExists when the name is taken.
    static NativeFile createNew(const std::string &path, bool ownerOnly);
    // Makes a missing file readable by its owner only.
    static NativeFile openForAppending(const std::string &path);

    bool isOpen() const { return m_handle != kClosed; }
    std::intptr_t handle() const { return m_handle; }
    // The handle, now the caller's.
    std::intptr_t release() { return std::exchange(m_handle, kClosed); }
    // Fewer than `count` bytes only at the end.
    bool readAt(std::int64_t offset, void *buffer, std::size_t count, std::size_t *read) const;
    bool writeAt(std::int64_t offset, const char *data, std::size_t size) const;
    // One write behind everything that is there; `*end` is the position behind it.
    bool append(const char *data, std::size_t size, std::int64_t *end) const;
    bool size(std::int64_t *size) const;
    bool resize(std::int64_t size) const;
    // Takes disk space for `size` bytes; the file then has this size. `goOn` false stops with
    // Cancelled.
    bool reserve(std::int64_t size, const std::function<bool()> &goOn) const;
    // Waits until the content is on the disk.
    bool sync() const;
    // Some file systems report a failed write only here.
    bool close();

private:
    static constexpr std::intptr_t kClosed = -1;

    std::intptr_t m_handle = kClosed;
};

enum class Kind { Missing, File, Folder, Other };
// What stands behind a path, links followed; Missing sets the last error.
Kind kindOf(const std::string &path);
// The path itself or, for a link, the path that it leads to.
std::string linkTarget(const std::string &path);

// Replaces an existing `to`.
bool renameOver(const std::string &from, const std::string &to);
// Fails with FileExists when `to` is there, also when it appears at the same moment.
bool renameNew(const std::string &from, const std::string &to);
bool removeFile(const std::string &path);

// Bytes there so far and in all; false stops with Cancelled. Called every MiB or so.
using CopyStep = std::function<bool(std::int64_t done, std::int64_t total)>;
// Copies by the quickest means of the system to a file that must not exist yet. A failed copy may
// leave the new file behind.
bool copyToNew(const std::string &source, const std::string &destination, const CopyStep &step);

struct FolderEntry
{
    std::string name;
    bool isFolder;
};
// The entries that are not hidden, in no order; `goOn` false stops with Cancelled.
bool listFolder(const std::string &path, std::vector<FolderEntry> *entries,
                const std::function<bool()> &goOn);
// Makes a folder and its missing parents, all for their owner only.
bool makeFolders(const std::string &path);

// The user's folders for configuration and for state, ending in a separator; empty when unknown.
std::string configurationRoot();
std::string stateRoot();
// Takes a file or folder from everybody but its owner (on Windows the system and administrators
// keep it too). True also when nothing is there.
bool takeFromOthers(const std::string &path);

char separator();
bool isSeparator(char c);
std::uint64_t threadId();

} // namespace hq::system
