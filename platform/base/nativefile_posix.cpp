// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "lasterror.h"
#include "posix.h"
#include "system.h"
#include "temporaryfile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/fs.h>
#include <sys/ioctl.h>
#endif

namespace hq::system {

namespace {

// Small enough that a slow disk lets a copy be stopped in time.
constexpr std::size_t kCopyChunk = 1 << 20;

bool readable(mode_t mode)
{
    if (S_ISREG(mode) || S_ISBLK(mode))
        return true;
    return fail(S_ISDIR(mode) ? Error::AccessDenied : Error::NotSupported);
}

bool isLackOfSpace(int code)
{
    return code == ENOSPC || code == EDQUOT || code == EFBIG;
}

bool isExposed(const struct stat &info)
{
    return info.st_uid != ::geteuid() || (info.st_mode & 077) != 0;
}

} // namespace

NativeFile::~NativeFile()
{
    if (isOpen())
        ::close(static_cast<int>(m_handle));
}

NativeFile NativeFile::openForReading(const std::string &path)
{
    const std::string name = existing(path);
    struct stat info;
    // Checked before it is opened as well, because opening alone starts some devices.
    if (::stat(name.c_str(), &info) != 0) {
        failForPath(errno, name);
        return {};
    }
    if (!readable(info.st_mode))
        return {};
    NativeFile file(openFile(name, O_RDONLY | O_NONBLOCK));
    if (!file.isOpen() || ::fstat(static_cast<int>(file.m_handle), &info) != 0) {
        failForPath(errno, name);
        return {};
    }
    return readable(info.st_mode) ? std::move(file) : NativeFile();
}

NativeFile NativeFile::openForAppending(const std::string &path)
{
    const std::string name = slashed(path);
    NativeFile file(openFile(name, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, 0600));
    if (!file.isOpen())
        failForPath(errno, name);
    return file;
}

NativeFile NativeFile::openForOverwriting(const std::string &path, bool ownerOnly,
                                          Exposure *exposure)
{
    *exposure = Exposure::None;
    const std::string name = slashed(path);
    const int flags = O_WRONLY | O_CREAT | O_NONBLOCK | (ownerOnly ? 0 : O_TRUNC);
    NativeFile file(openFile(name, flags, ownerOnly ? kOwnerOnly : kUsualRights));
    if (!file.isOpen()) {
        failForPath(errno, name);
        return file;
    }
    const auto descriptor = [&file] { return static_cast<int>(file.m_handle); };
    ::fcntl(descriptor(), F_SETFL, ::fcntl(descriptor(), F_GETFL) & ~O_NONBLOCK);
    struct stat info;
    if (!ownerOnly || ::fstat(descriptor(), &info) != 0 || !S_ISREG(info.st_mode))
        return file;
    NativeFile replacement;
    if (isExposed(info)) {
        if (replaceByPrivate(name, &replacement))
            file = std::move(replacement);
        else
            *exposure = Exposure::ToOpeners;
    }
    // Looked at again, because some file systems know no modes.
    const auto isStillExposed = [&] {
        return ::fstat(descriptor(), &info) != 0 || isExposed(info);
    };
    if (isStillExposed() && (::fchmod(descriptor(), kOwnerOnly) != 0 || isStillExposed()))
        *exposure = Exposure::ToOthers;
    return file.clear() ? std::move(file) : NativeFile();
}

int NativeFile::releaseDescriptor()
{
    return static_cast<int>(release());
}

bool NativeFile::readAt(std::int64_t offset, void *buffer, std::size_t count,
                        std::size_t *read) const
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t part = uninterrupted([&] {
            return ::pread(static_cast<int>(m_handle), static_cast<char *>(buffer) + done,
                           std::min<std::size_t>(count - done, 1 << 30),
                           offset + static_cast<std::int64_t>(done));
        });
        if (part < 0)
            return failWith(errno);
        if (part == 0)
            break;
        done += static_cast<std::size_t>(part);
    }
    *read = done;
    return true;
}

bool NativeFile::writeAt(std::int64_t offset, const char *data, std::size_t size) const
{
    while (size > 0) {
        const ssize_t part = uninterrupted([&] {
            return ::pwrite(static_cast<int>(m_handle), data, std::min<std::size_t>(size, 1 << 30),
                            offset);
        });
        if (part < 0)
            return failWith(errno);
        data += part;
        size -= static_cast<std::size_t>(part);
        offset += part;
    }
    return true;
}

bool NativeFile::append(const char *data, std::size_t size, std::int64_t *end) const
{
    const int file = static_cast<int>(m_handle);
    if (uninterrupted([&] { return ::write(file, data, size); }) < 0)
        return failWith(errno);
    *end = ::lseek(file, 0, SEEK_CUR);
    return true;
}

bool NativeFile::size(std::int64_t *size) const
{
    struct stat info;
    if (::fstat(static_cast<int>(m_handle), &info) != 0)
        return failWith(errno);
    *size = S_ISBLK(info.st_mode) ? ::lseek(static_cast<int>(m_handle), 0, SEEK_END) : info.st_size;
    return *size >= 0 || failWith(errno);
}

Rights NativeFile::rights() const
{
    struct stat info;
    if (::fstat(static_cast<int>(m_handle), &info) != 0)
        return kOwnerOnly;
    return (info.st_mode & 0777) | S_IWUSR;
}

bool NativeFile::clear() const
{
    const int file = static_cast<int>(m_handle);
    return uninterrupted([&] { return ::ftruncate(file, 0); }) == 0 || failWith(errno);
}

bool NativeFile::reserve(std::int64_t size,
                         [[maybe_unused]] const std::function<bool()> &goOn) const
{
    const int file = static_cast<int>(m_handle);
    struct statvfs space;
    if (size <= 0)
        return true;
    if (::fstatvfs(file, &space) == 0 && space.f_blocks > 0 &&
        static_cast<std::uint64_t>(size) / space.f_frsize > space.f_bavail)
        return fail(Error::DiskFull);
#ifdef __linux__
    // Not posix_fallocate, which writes every block where the file system cannot reserve.
    constexpr std::int64_t kSlice = 64 * 1024 * 1024;
    for (std::int64_t done = 0; done < size; done += kSlice) {
        if (!goOn())
            return fail(Error::Cancelled);
        const std::int64_t slice = std::min(kSlice, size - done);
        if (uninterrupted([&] { return ::fallocate(file, 0, done, slice); }) != 0)
            return !isLackOfSpace(errno) || failWith(errno);
    }
#endif
    return true;
}

bool NativeFile::copyQuickly([[maybe_unused]] const NativeFile &source,
                             [[maybe_unused]] std::int64_t total,
                             [[maybe_unused]] const CopyStepCallback &step,
                             std::int64_t *done) const
{
    *done = 0;
#ifdef __linux__
    const int from = static_cast<int>(source.m_handle);
    const int to = static_cast<int>(m_handle);
    // Blocks that both files share.
    if (total > 0 && ::ioctl(to, FICLONE, from) == 0) {
        *done = total;
        return step(total, total);
    }
    // The kernel's copy, without a way through memory.
    const auto copyChunk = [from, to, done] {
        loff_t read = *done;
        loff_t written = *done;
        return ::copy_file_range(from, &read, to, &written, kCopyChunk, 0);
    };
    ssize_t count = 0;
    while ((count = uninterrupted(copyChunk)) > 0) {
        *done += count;
        if (!step(*done, std::max(*done, total)))
            return false;
    }
    // Some file systems cannot do it, some only claim to, and the kernel's own files show no size:
    // the caller reads these to their end.
    return count == 0 || !isLackOfSpace(errno) || failWith(errno);
#else
    return true;
#endif
}

void NativeFile::takeTimesOf(const NativeFile &) const {}

bool NativeFile::writeBack() const
{
#ifdef __linux__
    const int file = static_cast<int>(m_handle);
    constexpr unsigned int kWhat = SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE;
    // Other errors say that this file system has no such call; sync() tells what matters.
    return uninterrupted([file] { return ::sync_file_range(file, 0, 0, kWhat); }) == 0 ||
           (errno != EIO && !isLackOfSpace(errno)) || failWith(errno);
#else
    return sync();
#endif
}

std::int64_t minWriteBack()
{
    constexpr std::int64_t kMebibyte = 1 << 20;
#ifdef __linux__
    return kMebibyte;
#else
    return 16 * kMebibyte;
#endif
}

bool NativeFile::sync() const
{
    const int file = static_cast<int>(m_handle);
#ifdef __linux__
    const int result = uninterrupted([file] { return ::fdatasync(file); });
#else
    const int result = uninterrupted([file] { return ::fsync(file); });
#endif
    if (result != 0 && errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return failWith(errno);
    // Some file systems report a failed write only when a descriptor is closed; the lock stays
    // with the other one.
    const int other = ::fcntl(file, F_DUPFD_CLOEXEC, 0);
    return other < 0 || ::close(other) == 0 || errno == EINTR || failWith(errno);
}

} // namespace hq::system
