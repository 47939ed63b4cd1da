// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/lasterror.h"
#include "base/winapi.h"

#include <sddl.h>

#include <algorithm>
#include <utility>

namespace hq::system {

namespace {

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

} // namespace hq::system
