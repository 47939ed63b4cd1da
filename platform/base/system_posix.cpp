// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/lasterror.h"
#include "base/system.h"
#include "process.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <thread>
#include <unistd.h>
#ifdef __linux__
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#endif

namespace hq {

void makeProcessDpiAware() {}

void sleepMilliseconds(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace hq

namespace hq::system {

namespace {

// Small enough that a slow disk lets a copy be stopped in time.
constexpr std::size_t kCopyChunk = 1 << 20;

// The number that Windows gives to the same failure, so that callers know one set of numbers.
std::uint32_t windowsCode(int code)
{
    switch (code) {
    case ENOENT:
        return 2;
    case ENOTDIR:
        return 3;
    case EMFILE:
    case ENFILE:
        return 4;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
        return 5;
    case ENOMEM:
        return 8;
    case EBUSY:
    case ETXTBSY:
        return 32;
    case EAGAIN:
        return 33;
    case ENOSYS:
    case ENXIO:
    case EOPNOTSUPP:
        return 50;
    case EEXIST:
        return 80;
    case EINVAL:
        return 87;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return 112;
    case ENAMETOOLONG:
    case EILSEQ:
    case ELOOP:
        return 123;
    case EIO:
        return 1117;
    default:
        return 31;
    }
}

bool failWith(int code)
{
    setLastSystemError(windowsCode(code));
    return false;
}

std::string slashed(std::string path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

// The spelling under which something is there. File names may hold a "\", so a path that is
// missing with "/" is looked for as it is written.
std::string existing(const std::string &path)
{
    std::string result = slashed(path);
    struct stat info;
    if (result != path && ::lstat(result.c_str(), &info) != 0 && ::lstat(path.c_str(), &info) == 0)
        return path;
    return result;
}

// Tells a missing folder from a missing file, as Windows does.
bool failForPath(int code, const std::string &path)
{
    const std::size_t slash = path.find_last_of('/');
    struct stat info;
    if (code == ENOENT && slash != std::string::npos && slash > 0 &&
        ::stat(path.substr(0, slash).c_str(), &info) != 0)
        return fail(Error::PathNotFound);
    return failWith(code);
}

template <typename Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR)
        result = call();
    return result;
}

int openFile(const std::string &path, int flags, mode_t mode = 0)
{
    return uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
}

bool readable(mode_t mode)
{
    if (S_ISREG(mode) || S_ISBLK(mode))
        return true;
    return fail(S_ISDIR(mode) ? Error::AccessDenied : Error::NotSupported);
}

// An environment variable counts only when it is absolute.
std::string folderFromEnvironment(const char *name, const char *belowHome)
{
    const char *value = std::getenv(name);
    if (value && value[0] == '/')
        return std::string(value) + '/';
    const char *home = std::getenv("HOME");
    std::string result = home ? home : "";
    if (result.empty() || result[0] != '/') {
        passwd entry{};
        passwd *found = nullptr;
        char buffer[16384];
        if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found)
            return {};
        result = found->pw_dir;
    }
    return result + belowHome;
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

Kind kindOf(const std::string &path)
{
    const std::string name = existing(path);
    struct stat info;
    if (::stat(name.c_str(), &info) != 0) {
        failForPath(errno, name);
        return Kind::Missing;
    }
    if (S_ISDIR(info.st_mode))
        return Kind::Folder;
    return S_ISREG(info.st_mode) ? Kind::File : Kind::Other;
}

std::string linkTarget(const std::string &path)
{
    std::string name = slashed(path);
    struct stat info;
    if (::lstat(name.c_str(), &info) != 0 || !S_ISLNK(info.st_mode))
        return name;
    const std::unique_ptr<char, decltype(&std::free)> target(::realpath(name.c_str(), nullptr),
                                                             &std::free);
    return target ? std::string(target.get()) : name;
}

bool renameOver(const std::string &from, const std::string &to)
{
    return ::rename(slashed(from).c_str(), slashed(to).c_str()) == 0 || failWith(errno);
}

bool renameNew(const std::string &from, const std::string &to)
{
    const std::string source = slashed(from);
    const std::string target = slashed(to);
#ifdef SYS_renameat2
    constexpr unsigned int kNoReplace = 1; // RENAME_NOREPLACE
    if (::syscall(SYS_renameat2, AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), kNoReplace) ==
        0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return failWith(errno);
#endif
    if (::link(source.c_str(), target.c_str()) == 0) {
        ::unlink(source.c_str());
        return true;
    }
    if (errno == EEXIST)
        return failWith(errno);
    // Neither way is known to this file system: take the name with an empty file first.
    if (!NativeFile::createNew(target, false).isOpen())
        return false;
    if (renameOver(source, target))
        return true;
    ::unlink(target.c_str());
    return false;
}

bool removeFile(const std::string &path)
{
    const std::string name = existing(path);
    return ::unlink(name.c_str()) == 0 || failForPath(errno, name);
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

bool listFolder(const std::string &path, std::vector<FolderEntry> *entries,
                const std::function<bool()> &goOn)
{
    const std::string name = existing(path);
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(::opendir(name.c_str()), &::closedir);
    if (!folder)
        return failForPath(errno, name);
    for (;;) {
        errno = 0;
        const dirent *entry = ::readdir(folder.get());
        if (!entry)
            return errno == 0 || failWith(errno);
        if (!goOn())
            return fail(Error::Cancelled);
        if (entry->d_name[0] == '.')
            continue;
        bool isFolder = entry->d_type == DT_DIR;
        struct stat info;
        if ((entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN) &&
            ::fstatat(::dirfd(folder.get()), entry->d_name, &info, 0) == 0)
            isFolder = S_ISDIR(info.st_mode);
        entries->push_back({entry->d_name, isFolder});
    }
}

bool makeFolders(const std::string &path)
{
    const std::string name = slashed(path);
    for (std::size_t slash = 0; slash != std::string::npos;) {
        slash = name.find('/', slash + 1);
        const std::string part = name.substr(0, slash);
        if (::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) {
            // Above a folder that is there, nothing needs to be permitted to us.
            const int code = errno;
            struct stat info;
            if (::stat(part.c_str(), &info) != 0)
                return failWith(code);
        }
    }
    return kindOf(name) == Kind::Folder || fail(Error::PathNotFound);
}

std::string configurationRoot()
{
    return folderFromEnvironment("XDG_CONFIG_HOME", "/.config/");
}

std::string stateRoot()
{
    return folderFromEnvironment("XDG_STATE_HOME", "/.local/state/");
}

char separator()
{
    return '/';
}

bool isSeparator(char c)
{
    return c == '/' || c == '\\';
}

std::uint64_t threadId()
{
#ifdef SYS_gettid
    return static_cast<std::uint64_t>(::syscall(SYS_gettid));
#else
    return std::hash<std::thread::id>()(std::this_thread::get_id());
#endif
}

bool takeFromOthers(const std::string &path)
{
    const std::string name = slashed(path);
    struct stat info;
    if (::stat(name.c_str(), &info) != 0 || (info.st_mode & 077) == 0)
        return true;
    return ::chmod(name.c_str(), info.st_mode & 0700) == 0 || failWith(errno);
}

} // namespace hq::system
