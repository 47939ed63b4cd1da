// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/lasterror.h"
#include "base/posix.h"
#include "base/system.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
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

#ifdef __linux__
enum class Copied { Done, Failed, NotSupported };

// Leaves the bytes to the kernel, which shares or copies them without a way through memory.
Copied copyInKernel(int from, int to, std::int64_t total, const CopyStep &step)
{
    if (total > 0 && ::ioctl(to, FICLONE, from) == 0)
        return step(total, total) || fail(Error::Cancelled) ? Copied::Done : Copied::Failed;
    loff_t read = 0;
    loff_t written = 0;
    for (;;) {
        const ssize_t count = uninterrupted(
            [&] { return ::copy_file_range(from, &read, to, &written, kCopyChunk, 0); });
        // Some file systems cannot do it, some only claim to, and the kernel's own files show no
        // size: these are read to their end instead.
        if (count <= 0 && written == 0 && !(count < 0 && (errno == ENOSPC || errno == EDQUOT)))
            return Copied::NotSupported;
        if (count == 0)
            return Copied::Done;
        if (count < 0) {
            failWith(errno);
            return Copied::Failed;
        }
        if (!step(written, std::max<std::int64_t>(written, total))) {
            fail(Error::Cancelled);
            return Copied::Failed;
        }
    }
}
#endif

} // namespace

NativeFile::NativeFile(NativeFile &&other) noexcept : m_handle(other.m_handle)
{
    other.m_handle = kClosed;
}

NativeFile &NativeFile::operator=(NativeFile &&other) noexcept
{
    std::swap(m_handle, other.m_handle);
    return *this;
}

NativeFile::~NativeFile()
{
    if (isOpen())
        ::close(static_cast<int>(m_handle));
}

NativeFile NativeFile::openForReading(const std::string &path)
{
    const std::string name = existing(path);
    struct stat info;
    // Looked at before it is opened as well: opening alone sets some devices going.
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

NativeFile NativeFile::createNew(const std::string &path, bool ownerOnly)
{
    const std::string name = slashed(path);
    NativeFile file(openFile(name, O_RDWR | O_CREAT | O_EXCL, ownerOnly ? 0600 : 0666));
    if (!file.isOpen())
        failForPath(errno, name);
    return file;
}

NativeFile NativeFile::openForAppending(const std::string &path)
{
    const std::string name = slashed(path);
    NativeFile file(openFile(name, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, 0600));
    if (!file.isOpen())
        failForPath(errno, name);
    return file;
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

bool NativeFile::resize(std::int64_t size) const
{
    return uninterrupted([&] { return ::ftruncate(static_cast<int>(m_handle), size); }) == 0 ||
           failWith(errno);
}

bool NativeFile::reserve(std::int64_t size, const std::function<bool()> &goOn) const
{
    const int file = static_cast<int>(m_handle);
    if (size <= 0)
        return true;
    struct statvfs space;
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
        if (uninterrupted([&] { return ::fallocate(file, 0, done, slice); }) == 0)
            continue;
        if (errno != EOPNOTSUPP && errno != ENOSYS)
            return failWith(errno);
        break;
    }
#endif
    return resize(size);
}

bool NativeFile::sync() const
{
    return ::fsync(static_cast<int>(m_handle)) == 0 || errno == EINVAL || failWith(errno);
}

bool NativeFile::close()
{
    const int file = static_cast<int>(m_handle);
    m_handle = kClosed;
    return ::close(file) == 0 || errno == EINTR || failWith(errno);
}

bool copyToNew(const std::string &source, const std::string &destination, const CopyStep &step)
{
    const NativeFile from = NativeFile::openForReading(source);
    std::int64_t total = 0;
    if (!from.isOpen() || !from.size(&total))
        return false;
    struct stat info;
    const std::string name = slashed(destination);
    // The copy is open to nobody who could not read the source.
    const mode_t mode = ::stat(existing(source).c_str(), &info) == 0 ? info.st_mode & 0777 : 0600;
    const int descriptor = openFile(name, O_WRONLY | O_CREAT | O_EXCL, mode | S_IWUSR);
    if (descriptor < 0)
        return failForPath(errno, name);
    NativeFile to(descriptor);
#ifdef __linux__
    const Copied copied = copyInKernel(static_cast<int>(from.handle()), descriptor, total, step);
    if (copied != Copied::NotSupported)
        return copied == Copied::Done && to.close();
#endif
    const std::unique_ptr<char[]> buffer(new char[kCopyChunk]);
    std::int64_t done = 0;
    for (std::size_t read = kCopyChunk; read == kCopyChunk;) {
        if (!from.readAt(done, buffer.get(), kCopyChunk, &read) ||
            !to.writeAt(done, buffer.get(), read))
            return false;
        done += static_cast<std::int64_t>(read);
        if (!step(done, std::max(done, total)))
            return fail(Error::Cancelled);
    }
    return to.close();
}

} // namespace hq::system
