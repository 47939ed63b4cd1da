// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "hqutil.h"

#include "base/configuration.h"
#include "base/encoder.h"
#include "base/localfile.h"
#include "base/system.h"
#include "base/text.h"
#include "copyfile.h"
#include "errorlog.h"
#include "failures.h"
#include "guarded.h"
#include "handletable.h"
#include "net/network.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

static_assert(hq::kConfigDirectorySize == HQ_CONFIG_DIR_SIZE);

namespace {

using hq::Error;
using hq::fail;
using hq::guarded;
using hq::guardedBool;

// Runs a call on an open file.
template <typename Call>
int onFile(HQHANDLE file, Call call) noexcept
{
    return guardedBool([&] { return hq::HandleTable::instance().with(file, call); });
}

template <typename Call>
int onPath(const char *path, Call call) noexcept
{
    return guardedBool([&] { return path ? call(path) : fail(Error::InvalidParameter); });
}

HQ_PRINTF(1, 0) std::optional<std::string> formatted(const char *format, va_list arguments)
{
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::optional<std::string> text;
    if (length >= 0) {
        text.emplace(static_cast<std::size_t>(length), '\0');
        std::vsnprintf(text->data(), text->size() + 1, format, again);
    }
    va_end(again);
    return text;
}

std::unique_ptr<hq::File> openFile(const std::string &path, std::uint32_t access,
                                   std::uint32_t disposition)
{
    constexpr std::uint32_t kKnown = HQ_ACCESS_READ | HQ_ACCESS_WRITE;
    constexpr std::uint32_t kLastDisposition = 5;
    const bool isNetwork = hq::isNetworkSource(path);
    if (access == HQ_ACCESS_READ && disposition == HQ_OPEN_EXISTING)
        return isNetwork ? hq::network::open(path) : hq::local::openForReading(path);
    if (access == HQ_ACCESS_WRITE && disposition == HQ_CREATE_ALWAYS && !isNetwork)
        return hq::local::openForWriting(path);
    const bool isKnown = access != 0 && (access & ~kKnown) == 0 && disposition >= 1 &&
                         disposition <= kLastDisposition;
    fail(isKnown ? Error::NotSupported : Error::InvalidParameter);
    return nullptr;
}

// Hands an output of the encoder to the caller, terminated.
bool handOver(const std::optional<std::string> &text, char **output, std::uint32_t *length)
{
    if (!text || text->size() >= std::numeric_limits<std::uint32_t>::max())
        return fail(Error::InvalidParameter);
    auto *copy = static_cast<char *>(std::malloc(text->size() + 1));
    if (!copy)
        throw std::bad_alloc();
    std::memcpy(copy, text->c_str(), text->size() + 1);
    *output = copy;
    *length = static_cast<std::uint32_t>(text->size());
    return true;
}

using Coder = std::optional<std::string> (*)(std::string_view, std::string_view);

int code(Coder coder, const void *key, std::uint32_t keyLength, const void *input,
         std::uint32_t length, char **output, std::uint32_t *outputLength)
{
    if (output)
        *output = nullptr;
    if (outputLength)
        *outputLength = 0;
    return guardedBool([&] {
        if (!key || keyLength == 0 || (!input && length > 0) || !output || !outputLength)
            return fail(Error::InvalidParameter);
        return handOver(coder({static_cast<const char *>(key), keyLength},
                              {static_cast<const char *>(input), length}),
                        output, outputLength);
    });
}

} // namespace

void ErrLogSetFileName(const char *name)
{
    guarded(0, [name] {
        hq::setErrorLogName(name ? name : "");
        hq::narrowFolders();
        return 0;
    });
}

void ErrOut(const char *format, ...)
{
    if (!format)
        return;
    va_list arguments;
    va_start(arguments, format);
    const hq::LastErrorKeeper keeper;
    guarded(0, [format, &arguments] {
        if (const auto text = formatted(format, arguments))
            hq::writeErrorLog(*text);
        return 0;
    });
    va_end(arguments);
}

HQHANDLE hqOSCreateFile(const char *path, uint32_t access, uint32_t, void *, uint32_t disposition,
                        uint32_t, HQHANDLE)
{
    const HQHANDLE opened = guarded(HQ_INVALID_HANDLE, [&] {
        if (!path) {
            fail(Error::InvalidParameter);
            return HQ_INVALID_HANDLE;
        }
        auto file = openFile(path, access, disposition);
        return file ? hq::HandleTable::instance().add(std::move(file)) : HQ_INVALID_HANDLE;
    });
    if (opened == HQ_INVALID_HANDLE)
        hq::logFailedOpen(path ? path : "");
    return opened;
}

int hqOSCloseFile(HQHANDLE file)
{
    return guardedBool([file] { return hq::HandleTable::instance().close(file); });
}

int hqOSReadFile(HQHANDLE file, void *buffer, uint32_t count, uint32_t *read, void *)
{
    if (read)
        *read = 0;
    if (!read || (!buffer && count > 0))
        return fail(Error::InvalidParameter);
    std::uint32_t done = 0;
    const int succeeded =
        onFile(file, [&](hq::File &opened) { return opened.read(buffer, count, &done); });
    *read = succeeded ? done : 0;
    return succeeded;
}

int hqOSGetFileSizeEx(HQHANDLE file, int64_t *size)
{
    if (!size)
        return fail(Error::InvalidParameter);
    std::int64_t found = 0;
    if (!onFile(file, [&found](hq::File &opened) { return opened.size(&found); }))
        return 0;
    *size = found;
    return 1;
}

int hqOSSeek(HQHANDLE file, int64_t position)
{
    return onFile(file, [position](hq::File &opened) { return opened.seek(position); });
}

int hqOSfprintf(HQHANDLE file, const char *format, ...)
{
    if (!format) {
        fail(Error::InvalidParameter);
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int written = guarded(-1, [&] {
        const auto text = formatted(format, arguments);
        if (!text) {
            fail(Error::InvalidParameter);
            return -1;
        }
        const bool succeeded = hq::HandleTable::instance().with(
            file, [&text](hq::File &opened) { return opened.write(text->data(), text->size()); });
        return succeeded ? static_cast<int>(text->size()) : -1;
    });
    va_end(arguments);
    return written;
}

uint32_t hqOSGetLastError(void)
{
    return hq::lastError();
}

int hqOSFileIsDir(const char *path)
{
    return onPath(path, [](const std::string &place) {
        return hq::isNetworkSource(place) ? hq::network::isFolder(place)
                                          : hq::system::kindOf(place) == hq::system::Kind::Folder;
    });
}

int hqOSFileExists(const char *path)
{
    return onPath(path, [](const std::string &place) {
        return hq::isNetworkSource(place)
                   ? hq::network::isFolder(place) || hq::network::open(place) != nullptr
                   : hq::system::kindOf(place) != hq::system::Kind::Missing;
    });
}

int hqOSDeleteFile(const char *path)
{
    return onPath(path, [](const std::string &place) {
        return hq::isNetworkSource(place) ? fail(Error::NotSupported)
                                          : hq::system::removeFile(place);
    });
}

int hqOSCopyFile(const char *source, const char *destination, int keepExisting)
{
    return hq::copyFile(source, destination, keepExisting, {});
}

int hqOSIsNetworkSource(const char *address)
{
    return onPath(address, hq::isNetworkSource);
}

int hqOSGetConfigDir(char *buffer, int)
{
    if (buffer)
        *buffer = '\0';
    return guardedBool([buffer] {
        if (!buffer)
            return fail(Error::InvalidParameter);
        const std::string directory = hq::configDirectory();
        std::memcpy(buffer, directory.c_str(), directory.size() + 1);
        return !directory.empty();
    });
}

int hqOSRecurseDirectory(void *user, const char *folder, HqWalkCallback callback, uint32_t flags)
{
    std::uint64_t reported = 0;
    const int walked = guardedBool([&] {
        if (!folder || !callback || flags != HQ_WALK_ONE_LEVEL)
            return fail(Error::InvalidParameter);
        const auto entry = [&](const std::string &address, bool isFolder) {
            ++reported;
            return callback(user, address.c_str(),
                            isFolder ? HQ_ATTRIBUTE_FOLDER : HQ_ATTRIBUTE_NORMAL) == 0;
        };
        return hq::isNetworkSource(folder) ? hq::network::walk(folder, entry)
                                           : hq::local::walk(folder, entry);
    });
    if (!walked)
        hq::logFailedWalk(folder ? folder : "", reported);
    return walked;
}

int hqXCEncode(const void *key, uint32_t keyLength, const void *input, uint32_t length, int, int,
               char **output, uint32_t *outputLength)
{
    return code(hq::encoder::encode, key, keyLength, input, length, output, outputLength);
}

int hqXCDecode(const void *key, uint32_t keyLength, const char *input, uint32_t length, int, int,
               char **output, uint32_t *outputLength)
{
    return code(hq::encoder::decode, key, keyLength, input, length, output, outputLength);
}

void hqXCFree(void *output)
{
    std::free(output);
}

int hqCFGValueString(intptr_t store, const char *section, const char *key, const char *value,
                     int32_t *, int write)
{
    return guardedBool([&] {
        if (store != -1 || !section || !key || !value)
            return fail(Error::InvalidParameter);
        if (write != 1)
            return fail(Error::NotSupported);
        hq::setConfigurationValue(QString::fromUtf8(section), QString::fromUtf8(key),
                                  QString::fromUtf8(value));
        return true;
    });
}

int hqCFGSave(intptr_t store, int, int)
{
    return guardedBool(
        [store] { return store == -1 ? hq::saveConfiguration() : fail(Error::InvalidParameter); });
}
