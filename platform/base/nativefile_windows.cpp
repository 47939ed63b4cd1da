// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "lasterror.h"
#include "temporaryfile.h"
#include "winapi.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <utility>

namespace hq::system {

namespace {

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

} // namespace

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

NativeFile NativeFile::openForAppending(const std::string &path)
{
    OwnerOnly owner;
    const bool isPrepared = owner.prepare(); // else the folder hands its rights down
    return take(::CreateFileW(native(path).c_str(), FILE_APPEND_DATA, kShareAll,
                              isPrepared ? owner.attributes() : nullptr, OPEN_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

NativeFile NativeFile::openForOverwriting(const std::string &path, bool ownerOnly,
                                          Exposure *exposure)
{
    *exposure = Exposure::None;
    const std::wstring name = native(path);
    const auto open = [&name](DWORD access, DWORD disposition, SECURITY_ATTRIBUTES *security) {
        return take(::CreateFileW(name.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  security, disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
    };
    if (!ownerOnly)
        return open(GENERIC_WRITE, CREATE_ALWAYS, nullptr);
    OwnerOnly owner;
    if (!owner.prepare()) {
        failNow();
        return {};
    }
    NativeFile file = open(GENERIC_WRITE, CREATE_NEW, owner.attributes());
    if (file.isOpen() || !isLastError(Error::FileExists))
        return file;
    file = open(GENERIC_WRITE, OPEN_EXISTING, nullptr);
    if (!file.isOpen() || ::GetFileType(native(file.m_handle)) != FILE_TYPE_DISK)
        return file;
    file = {};
    if (replaceByPrivate(path, &file)) {
        file = {};
        return open(GENERIC_WRITE, TRUNCATE_EXISTING, nullptr);
    }
    file = open(GENERIC_WRITE | WRITE_DAC, TRUNCATE_EXISTING, nullptr);
    const bool isNarrowed = file.isOpen() && owner.narrow(native(file.m_handle));
    *exposure = isNarrowed ? Exposure::ToOpeners : Exposure::ToOthers;
    return file.isOpen() ? std::move(file) : open(GENERIC_WRITE, TRUNCATE_EXISTING, nullptr);
}

int NativeFile::releaseDescriptor()
{
    const int descriptor = ::_open_osfhandle(m_handle, _O_BINARY);
    if (descriptor >= 0)
        release();
    return descriptor;
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

Rights NativeFile::rights() const
{
    return kUsualRights;
}

bool NativeFile::clear() const
{
    FILE_END_OF_FILE_INFO end{};
    return ::SetFileInformationByHandle(native(m_handle), FileEndOfFileInfo, &end, sizeof end) ||
           failNow();
}

bool NativeFile::reserve(std::int64_t size, const std::function<bool()> &) const
{
    FILE_ALLOCATION_INFO space{};
    space.AllocationSize.QuadPart = size;
    if (size <= 0 ||
        ::SetFileInformationByHandle(native(m_handle), FileAllocationInfo, &space, sizeof space))
        return true;
    // Anything else says that this file system has no such call.
    failNow();
    return !isLastError(Error::DiskFull);
}

// The system's own copy works on names and would leave half a file when the process dies.
bool NativeFile::copyQuickly(const NativeFile &, std::int64_t, const CopyStepCallback &,
                             std::int64_t *done) const
{
    *done = 0;
    return true;
}

void NativeFile::takeTimesOf(const NativeFile &source) const
{
    FILETIME written{};
    if (::GetFileTime(native(source.m_handle), nullptr, nullptr, &written))
        ::SetFileTime(native(m_handle), nullptr, nullptr, &written);
}

bool NativeFile::writeBack() const
{
    return sync();
}

std::int64_t minWriteBack()
{
    return 16 << 20;
}

bool NativeFile::sync() const
{
    if (::FlushFileBuffers(native(m_handle)))
        return true;
    // Some network drives have no such call. It has no parameter that could be the wrong one.
    const DWORD error = ::GetLastError();
    return (error != ERROR_INVALID_PARAMETER && hasNoSuchCall(error)) || failWith(error);
}

} // namespace hq::system
