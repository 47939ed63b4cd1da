// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "lasterror.h"
#include "posix.h"
#include "system.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <pwd.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <utility>
#ifdef __linux__
#include <sys/syscall.h>
#endif

namespace hq::system {

namespace {

// What Windows calls the same failure, so that callers know one set of numbers.
Error windowsError(int code)
{
    static constexpr std::pair<int, Error> kErrors[] = {
        {ENOENT, Error::FileNotFound},      {ENOTDIR, Error::PathNotFound},
        {EMFILE, Error::TooManyOpenFiles},  {ENFILE, Error::TooManyOpenFiles},
        {EACCES, Error::AccessDenied},      {EPERM, Error::AccessDenied},
        {EROFS, Error::AccessDenied},       {EISDIR, Error::AccessDenied},
        {ENOMEM, Error::OutOfMemory},       {EBUSY, Error::SharingViolation},
        {ETXTBSY, Error::SharingViolation}, {EAGAIN, Error::LockViolation},
        {ENOSYS, Error::NotSupported},      {ENXIO, Error::NotSupported},
        {EOPNOTSUPP, Error::NotSupported},  {EEXIST, Error::FileExists},
        {EINVAL, Error::InvalidParameter},  {ENOSPC, Error::DiskFull},
        {EDQUOT, Error::DiskFull},          {EFBIG, Error::DiskFull},
        {ENAMETOOLONG, Error::InvalidName}, {EILSEQ, Error::InvalidName},
        {ELOOP, Error::InvalidName},        {EIO, Error::DiskError},
    };
    const auto found = std::find_if(std::begin(kErrors), std::end(kErrors),
                                    [code](const auto &error) { return error.first == code; });
    return found == std::end(kErrors) ? Error::GeneralFailure : found->second;
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

} // namespace

bool failWith(int code)
{
    return fail(windowsError(code));
}

std::string slashed(std::string path)
{
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::string existing(const std::string &path)
{
    std::string result = slashed(path);
    struct stat info;
    if (result != path && ::lstat(result.c_str(), &info) != 0 && ::lstat(path.c_str(), &info) == 0)
        return path;
    return result;
}

bool failForPath(int code, const std::string &path)
{
    const std::size_t slash = path.find_last_of('/');
    struct stat info;
    if (code == ENOENT && slash != std::string::npos && slash > 0 &&
        ::stat(path.substr(0, slash).c_str(), &info) != 0)
        return fail(Error::PathNotFound);
    return failWith(code);
}

int openFile(const std::string &path, int flags, mode_t mode)
{
    return uninterrupted([&] { return ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY, mode); });
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

bool isTaken(const std::string &path)
{
    struct stat info;
    return ::lstat(slashed(path).c_str(), &info) == 0;
}

bool renameOver(const std::string &from, const std::string &to)
{
    return ::rename(slashed(from).c_str(), slashed(to).c_str()) == 0 || failWith(errno);
}

bool removeFile(const std::string &path)
{
    const std::string name = existing(path);
    return ::unlink(name.c_str()) == 0 || failForPath(errno, name);
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
            // Folders above one that exists need not let us in.
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
