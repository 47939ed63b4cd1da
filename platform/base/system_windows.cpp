// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/lasterror.h"
#include "base/system.h"
#include "process.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <sddl.h>
#include <shlobj.h>

#include <algorithm>
#include <utility>

namespace hq {

void makeProcessDpiAware()
{
    ::SetProcessDPIAware();
}

void sleepMilliseconds(int milliseconds)
{
    ::Sleep(static_cast<DWORD>(std::max(milliseconds, 0)));
}

} // namespace hq

namespace hq::system {

namespace {

constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD kMissing = INVALID_FILE_ATTRIBUTES;

bool failWith(DWORD code)
{
    switch (code) {
    case ERROR_ALREADY_EXISTS:
        return fail(Error::FileExists);
    case ERROR_HANDLE_DISK_FULL:
        return fail(Error::DiskFull);
    case ERROR_REQUEST_ABORTED:
        return fail(Error::Cancelled);
    case ERROR_DIRECTORY:
        return fail(Error::PathNotFound);
    case ERROR_FILENAME_EXCED_RANGE:
        return fail(Error::InvalidName);
    default:
        setLastSystemError(code);
        return false;
    }
}

bool failNow()
{
    return failWith(::GetLastError());
}

std::wstring wide(const std::string &text)
{
    const int size = static_cast<int>(text.size());
    const int length = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::wstring result(static_cast<std::size_t>(length), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), size, result.data(), length);
    return result;
}

std::string narrow(const std::wstring &text)
{
    const int size = static_cast<int>(text.size());
    const int length =
        ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(length), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), size, result.data(), length, nullptr, nullptr);
    return result;
}

// Paths near the old limit of 260 characters are given in the form that has no limit.
std::wstring native(const std::string &path)
{
    constexpr std::size_t kLongestPlain = 240;
    std::wstring result = wide(path);
    if (result.size() < kLongestPlain || result.compare(0, 4, L"\\\\?\\") == 0)
        return result;
    const DWORD length = ::GetFullPathNameW(result.c_str(), 0, nullptr, nullptr);
    std::wstring full(length, L'\0');
    full.resize(::GetFullPathNameW(result.c_str(), length, full.data(), nullptr));
    if (full.empty())
        return result;
    return full.compare(0, 2, L"\\\\") == 0 ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
}

HANDLE native(std::intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

NativeFile take(HANDLE handle)
{
    if (handle == INVALID_HANDLE_VALUE)
        failNow();
    return NativeFile(reinterpret_cast<std::intptr_t>(handle));
}

OVERLAPPED at(std::int64_t offset)
{
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return position;
}

DWORD part(std::size_t size)
{
    return static_cast<DWORD>(std::min<std::size_t>(size, 1 << 30));
}

// Virus scanners and indexers hold new files open for a moment.
template <typename Call>
bool patiently(Call call)
{
    for (int attempt = 0; attempt < 10; ++attempt) {
        if (call())
            return true;
        const DWORD error = ::GetLastError();
        if (error != ERROR_SHARING_VIOLATION && error != ERROR_ACCESS_DENIED)
            break;
        ::Sleep(20);
        ::SetLastError(error);
    }
    return failNow();
}

std::string folderFromEnvironment(const wchar_t *name, int folder)
{
    const DWORD length = ::GetEnvironmentVariableW(name, nullptr, 0);
    if (length > 1) {
        std::wstring value(length, L'\0');
        value.resize(::GetEnvironmentVariableW(name, value.data(), length));
        return narrow(value) + '\\';
    }
    wchar_t path[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, folder, nullptr, SHGFP_TYPE_CURRENT, path)))
        return {};
    return narrow(path) + '\\';
}

// The rights of a file for this process's user and, for the sake of backups, the system, whatever
// its folder would hand down.
class OwnerOnly
{
public:
    OwnerOnly() = default;
    OwnerOnly(const OwnerOnly &) = delete;
    OwnerOnly &operator=(const OwnerOnly &) = delete;
    ~OwnerOnly() { ::LocalFree(m_attributes.lpSecurityDescriptor); }

    // False sets the system's error.
    bool prepare()
    {
        HANDLE token = nullptr;
        if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &token))
            return false;
        const NativeFile closer(reinterpret_cast<std::intptr_t>(token));
        alignas(TOKEN_USER) unsigned char user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
        DWORD size = 0;
        wchar_t *sid = nullptr;
        if (!::GetTokenInformation(token, TokenUser, user, sizeof user, &size) ||
            !::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER *>(user)->User.Sid, &sid))
            return false;
        const std::wstring rights = L"D:P(A;;FA;;;" + std::wstring(sid) + L")(A;;FA;;;SY)";
        ::LocalFree(sid);
        return ::ConvertStringSecurityDescriptorToSecurityDescriptorW(
            rights.c_str(), SDDL_REVISION_1, &m_attributes.lpSecurityDescriptor, nullptr);
    }
    SECURITY_ATTRIBUTES *attributes() { return &m_attributes; }

private:
    SECURITY_ATTRIBUTES m_attributes{sizeof(SECURITY_ATTRIBUTES), nullptr, FALSE};
};

DWORD CALLBACK copyProgress(LARGE_INTEGER total, LARGE_INTEGER done, LARGE_INTEGER, LARGE_INTEGER,
                            DWORD, DWORD, HANDLE, HANDLE, LPVOID step)
{
    try {
        return (*static_cast<const CopyStep *>(step))(done.QuadPart, total.QuadPart)
                   ? PROGRESS_CONTINUE
                   : PROGRESS_CANCEL;
    } catch (...) { // nothing may pass through the system's frames
        return PROGRESS_CANCEL;
    }
}

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
        ::CloseHandle(native(m_handle));
}

NativeFile NativeFile::openForReading(const std::string &path)
{
    NativeFile file = take(::CreateFileW(native(path).c_str(), GENERIC_READ, kShareAll, nullptr,
                                         OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.isOpen() || ::GetFileType(native(file.m_handle)) == FILE_TYPE_DISK)
        return file;
    fail(Error::NotSupported);
    return {};
}

NativeFile NativeFile::createNew(const std::string &path, bool ownerOnly)
{
    OwnerOnly owner;
    if (ownerOnly && !owner.prepare()) {
        failNow();
        return {};
    }
    return take(::CreateFileW(native(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0,
                              ownerOnly ? owner.attributes() : nullptr, CREATE_NEW,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

NativeFile NativeFile::openForAppending(const std::string &path)
{
    return take(::CreateFileW(native(path).c_str(), FILE_APPEND_DATA, kShareAll, nullptr,
                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
}

bool NativeFile::readAt(std::int64_t offset, void *buffer, std::size_t count,
                        std::size_t *read) const
{
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED position = at(offset + static_cast<std::int64_t>(done));
        DWORD length = 0;
        if (!::ReadFile(native(m_handle), static_cast<char *>(buffer) + done, part(count - done),
                        &length, &position) &&
            ::GetLastError() != ERROR_HANDLE_EOF)
            return failNow();
        if (length == 0)
            break;
        done += length;
    }
    *read = done;
    return true;
}

bool NativeFile::writeAt(std::int64_t offset, const char *data, std::size_t size) const
{
    while (size > 0) {
        OVERLAPPED position = at(offset);
        DWORD length = 0;
        if (!::WriteFile(native(m_handle), data, part(size), &length, &position))
            return failNow();
        data += length;
        size -= length;
        offset += length;
    }
    return true;
}

bool NativeFile::append(const char *data, std::size_t size, std::int64_t *end) const
{
    DWORD length = 0;
    if (!::WriteFile(native(m_handle), data, part(size), &length, nullptr))
        return failNow();
    LARGE_INTEGER position{};
    ::SetFilePointerEx(native(m_handle), LARGE_INTEGER{}, &position, FILE_CURRENT);
    *end = position.QuadPart;
    return true;
}

bool NativeFile::size(std::int64_t *size) const
{
    LARGE_INTEGER length{};
    if (!::GetFileSizeEx(native(m_handle), &length))
        return failNow();
    *size = length.QuadPart;
    return true;
}

bool NativeFile::resize(std::int64_t size) const
{
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = size;
    return ::SetFileInformationByHandle(native(m_handle), FileEndOfFileInfo, &end, sizeof end) ||
           failNow();
}

bool NativeFile::reserve(std::int64_t size, const std::function<bool()> &) const
{
    FILE_ALLOCATION_INFO space{};
    space.AllocationSize.QuadPart = size;
    if (!::SetFileInformationByHandle(native(m_handle), FileAllocationInfo, &space, sizeof space))
        return failNow();
    return resize(size);
}

bool NativeFile::sync() const
{
    return ::FlushFileBuffers(native(m_handle)) || failNow();
}

bool NativeFile::close()
{
    const HANDLE handle = native(std::exchange(m_handle, kClosed));
    return ::CloseHandle(handle) || failNow();
}

Kind kindOf(const std::string &path)
{
    const DWORD attributes = ::GetFileAttributesW(native(path).c_str());
    if (attributes == kMissing) {
        failNow();
        return Kind::Missing;
    }
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        return Kind::Folder;
    return attributes & FILE_ATTRIBUTE_DEVICE ? Kind::Other : Kind::File;
}

std::string linkTarget(const std::string &path)
{
    const DWORD attributes = ::GetFileAttributesW(native(path).c_str());
    if (attributes == kMissing || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        return path;
    const NativeFile file(reinterpret_cast<std::intptr_t>(
        ::CreateFileW(native(path).c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                      FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
    if (!file.isOpen())
        return path;
    std::wstring target(32768, L'\0');
    target.resize(::GetFinalPathNameByHandleW(native(file.handle()), target.data(),
                                              static_cast<DWORD>(target.size()), 0));
    return target.empty() ? path : narrow(target);
}

bool renameOver(const std::string &from, const std::string &to)
{
    const std::wstring source = native(from);
    const std::wstring target = native(to);
    return patiently([&] {
        return ::MoveFileExW(source.c_str(), target.c_str(),
                             MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    });
}

bool renameNew(const std::string &from, const std::string &to)
{
    const std::wstring source = native(from);
    const std::wstring target = native(to);
    return patiently([&] { return ::MoveFileExW(source.c_str(), target.c_str(), 0); });
}

bool removeFile(const std::string &path)
{
    const std::wstring name = native(path);
    return patiently([&] { return ::DeleteFileW(name.c_str()); });
}

bool copyToNew(const std::string &source, const std::string &destination, const CopyStep &step)
{
    const NativeFile from = NativeFile::openForReading(source); // no folder, no device
    std::int64_t size = 0;
    if (!from.isOpen() || !from.size(&size))
        return false;
    BOOL cancel = FALSE;
    const std::wstring target = native(destination);
    if (!::CopyFileExW(native(source).c_str(), target.c_str(), copyProgress,
                       const_cast<CopyStep *>(&step), &cancel, COPY_FILE_FAIL_IF_EXISTS))
        return failNow();
    // A copy takes the attributes over; a read-only file could be neither moved nor removed.
    ::SetFileAttributesW(target.c_str(), FILE_ATTRIBUTE_NORMAL);
    return step(size, size) || fail(Error::Cancelled);
}

bool listFolder(const std::string &path, std::vector<FolderEntry> *entries,
                const std::function<bool()> &goOn)
{
    if (kindOf(path) != Kind::Folder)
        return kindOf(path) != Kind::Missing && fail(Error::PathNotFound);
    std::string pattern = path;
    if (pattern.empty() || !isSeparator(pattern.back()))
        pattern += separator();
    WIN32_FIND_DATAW found{};
    const HANDLE search =
        ::FindFirstFileExW(native(pattern + '*').c_str(), FindExInfoBasic, &found,
                           FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    if (search == INVALID_HANDLE_VALUE) // an empty drive has no entry at all
        return ::GetLastError() == ERROR_FILE_NOT_FOUND || failNow();
    struct Closer
    {
        HANDLE search;
        ~Closer() { ::FindClose(search); }
    } closer{search};
    do {
        if (!goOn())
            return fail(Error::Cancelled);
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L".." && !(found.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN))
            entries->push_back(
                {narrow(name), (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    } while (::FindNextFileW(search, &found));
    return ::GetLastError() == ERROR_NO_MORE_FILES || failNow();
}

bool makeFolders(const std::string &path)
{
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find_first_of("/\\", end + 1);
        // Drives and shares refuse to be made, so only the last folder has to be there.
        ::CreateDirectoryW(native(path.substr(0, end)).c_str(), nullptr);
    }
    const Kind kind = kindOf(path);
    return kind == Kind::Folder || (kind != Kind::Missing && fail(Error::PathNotFound));
}

std::string configurationRoot()
{
    return folderFromEnvironment(L"APPDATA", CSIDL_APPDATA);
}

std::string stateRoot()
{
    return folderFromEnvironment(L"LOCALAPPDATA", CSIDL_LOCAL_APPDATA);
}

char separator()
{
    return '\\';
}

bool isSeparator(char c)
{
    return c == '/' || c == '\\';
}

std::uint64_t threadId()
{
    return ::GetCurrentThreadId();
}

bool takeFromOthers(const std::string &path)
{
    const std::wstring name = native(path);
    DWORD size = 0;
    ::GetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    if (size == 0) // nothing there, or a file system without rights
        return true;
    std::vector<unsigned char> descriptor(size);
    OwnerOnly owner;
    BOOL isThere = FALSE, isDefault = FALSE;
    PACL wanted = nullptr, found = nullptr;
    if (!owner.prepare() ||
        !::GetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size,
                            &size) ||
        !::GetSecurityDescriptorDacl(descriptor.data(), &isThere, &found, &isDefault) ||
        !::GetSecurityDescriptorDacl(owner.attributes()->lpSecurityDescriptor, &isThere, &wanted,
                                     &isDefault))
        return failNow();
    const auto account = [](PACL list, DWORD index) -> PSID {
        void *entry = nullptr;
        const bool isRead = ::GetAce(list, index, &entry) != 0;
        return isRead ? &static_cast<ACCESS_ALLOWED_ACE *>(entry)->SidStart : nullptr;
    };
    bool isOpen = !found;
    for (DWORD i = 0; found && i < found->AceCount; ++i) {
        const PSID other = account(found, i);
        isOpen =
            isOpen || !other ||
            !(::EqualSid(other, account(wanted, 0)) || ::IsWellKnownSid(other, WinLocalSystemSid) ||
              ::IsWellKnownSid(other, WinCreatorOwnerSid) ||
              ::IsWellKnownSid(other, WinBuiltinAdministratorsSid));
    }
    return !isOpen ||
           ::SetFileSecurityW(name.c_str(), DACL_SECURITY_INFORMATION,
                              owner.attributes()->lpSecurityDescriptor) ||
           failNow();
}

} // namespace hq::system
