// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Files on their way to their names.
#include "lasterror.h"
#include "posix.h"
#include "system.h"
#include "temporaryfile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <iterator>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#ifdef __linux__
#include <sys/syscall.h>
#include <sys/vfs.h>
#endif

namespace hq::system {

namespace {

constexpr std::time_t kAbandonedAfter = 3600; // s without a write

std::string orCurrent(const std::string &folder)
{
    return folder.empty() ? "." : folder;
}

std::string pathOfDescriptor(int file)
{
    return "/proc/self/fd/" + std::to_string(file);
}

enum class Lock { Taken, Refused, NotKnown };

// A lock that belongs to the open file: not even this process can lock the file a second time.
Lock lock(int file)
{
    if (uninterrupted([file] { return ::flock(file, LOCK_EX | LOCK_NB); }) == 0)
        return Lock::Taken;
    return errno == EWOULDBLOCK ? Lock::Refused : Lock::NotKnown;
}

// Whether only this machine uses the file system. On others a lock may hold on the machine that
// took it only, and nothing tells that.
bool isOfThisMachine([[maybe_unused]] int file)
{
#ifdef __linux__
    static constexpr std::uint32_t kOfOneMachine[] = {
        0xef53,     // ext2, ext3, ext4
        0x58465342, // XFS
        0x9123683e, // Btrfs
        0x01021994, // tmpfs
        0xf2f52010, // F2FS
        0x2fc12fc1, // ZFS
        0x794c7630, // overlayfs
        0x4d44,     // FAT
        0x2011bab0, // exFAT
        0x7366746e, // NTFS
    };
    struct statfs info;
    if (::fstatfs(file, &info) == 0)
        return std::count(std::begin(kOfOneMachine), std::end(kOfOneMachine),
                          static_cast<std::uint32_t>(info.f_type)) != 0;
#endif
    return false;
}

void removeIfAbandoned(int folder, const char *name, bool locksCount, std::time_t now)
{
    struct stat info;
    struct stat opened;
    // Checked before it is opened as well, because opening a pipe wakes its reader.
    if (::fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(info.st_mode) ||
        info.st_uid != ::geteuid())
        return;
    const int descriptor = uninterrupted([&] {
        return ::openat(folder, name, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    });
    const NativeFile file(descriptor);
    if (descriptor < 0 || ::fstat(descriptor, &opened) != 0 || opened.st_ino != info.st_ino)
        return;
    const Lock state = lock(descriptor);
    const bool isOld = now - opened.st_mtime > kAbandonedAfter;
    if (state != Lock::Refused && (isOld || (state == Lock::Taken && locksCount)))
        ::unlinkat(folder, name, 0);
}

bool renameNew(const std::string &from, const std::string &to)
{
#ifdef SYS_renameat2
    constexpr unsigned int kNoReplace = 1; // RENAME_NOREPLACE
    if (::syscall(SYS_renameat2, AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), kNoReplace) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP && errno != EPERM)
        return failWith(errno);
#endif
    if (::link(from.c_str(), to.c_str()) == 0) {
        ::unlink(from.c_str());
        return true;
    }
    if (errno == EEXIST)
        return failWith(errno);
    // Neither way is known to this file system: take the name with an empty file first.
    if (!NativeFile(openFile(to, O_WRONLY | O_CREAT | O_EXCL, kOwnerOnly)).isOpen())
        return failForPath(errno, to);
    if (renameOver(from, to))
        return true;
    ::unlink(to.c_str());
    return false;
}

} // namespace

NativeFile NativeFile::createNameless([[maybe_unused]] const std::string &folder,
                                      [[maybe_unused]] Rights rights)
{
#ifdef O_TMPFILE
    NativeFile file(openFile(orCurrent(folder), O_TMPFILE | O_RDWR, rights));
    // The name is given through /proc, which need not be there.
    if (file.isOpen() &&
        ::access(pathOfDescriptor(static_cast<int>(file.m_handle)).c_str(), F_OK) == 0) {
        // Under its temporary name, on the way to another one, it must not be taken for abandoned.
        lock(static_cast<int>(file.m_handle));
        return file;
    }
#endif
    fail(Error::NotSupported);
    return {};
}

NativeFile NativeFile::createLocked(const std::string &path, Rights rights)
{
    const std::string name = slashed(path);
    NativeFile file(openFile(name, O_RDWR | O_CREAT | O_EXCL, rights));
    if (!file.isOpen()) {
        failForPath(errno, name);
        return file;
    }
    // Another process may have found it before it was locked, and have removed it.
    struct stat info;
    if (lock(static_cast<int>(file.m_handle)) == Lock::Refused ||
        ::lstat(name.c_str(), &info) != 0) {
        ::unlink(name.c_str());
        fail(Error::FileExists);
        return {};
    }
    return file;
}

bool NativeFile::link(const std::string &name) const
{
    return ::linkat(AT_FDCWD, pathOfDescriptor(static_cast<int>(m_handle)).c_str(), AT_FDCWD,
                    slashed(name).c_str(), AT_SYMLINK_FOLLOW) == 0 ||
           failForPath(errno, slashed(name));
}

bool NativeFile::rename(const std::string &from, const std::string &to, bool keepExisting)
{
    return keepExisting ? renameNew(slashed(from), slashed(to)) : renameOver(from, to);
}

void NativeFile::remove(const std::string &name)
{
    if (!name.empty())
        ::unlink(slashed(name).c_str());
}

void NativeFile::syncName(const std::string &name) const
{
    const std::string path = slashed(name);
    const NativeFile folder(
        openFile(orCurrent(path.substr(0, path.find_last_of('/') + 1)), O_RDONLY | O_DIRECTORY));
    if (folder.isOpen())
        ::fsync(static_cast<int>(folder.m_handle));
}

void removeAbandoned(const std::string &folder, const NativeFile &newFile,
                     const std::function<bool()> &goOn)
{
    const LastErrorKeeper keeper;
    struct stat created;
    const std::string path = orCurrent(slashed(folder));
    const std::unique_ptr<DIR, int (*)(DIR *)> listing(::opendir(path.c_str()), &::closedir);
    const int file = static_cast<int>(newFile.handle());
    if (!listing || ::fstat(file, &created) != 0)
        return;
    const bool locksCount = isOfThisMachine(file);
    while (const dirent *entry = ::readdir(listing.get())) {
        if (!goOn())
            return;
        const std::string_view name = entry->d_name;
        if (isTemporaryName(name))
            removeIfAbandoned(::dirfd(listing.get()), entry->d_name,
                              locksCount || isOfThisBoot(name), created.st_mtime);
    }
}

} // namespace hq::system
