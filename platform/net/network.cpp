// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/network.h"

#include "base/targetfile.h"
#include "hqutil.h"
#include "net/bearertoken.h"
#include "net/networkfile.h"
#include "net/rangedcopy.h"
#include "net/s3documents.h"
#include "net/s3source.h"
#include "net/text.h"
#include "net/webresource.h"

#include <vector>

namespace hq::network {

namespace {

// Stands for a bucket or account that was proved; there is nothing in it to read.
class ProvedFolder : public File
{
};

void logFailure(const char *doing, const std::string &address, const HttpAnswer &answer)
{
    const std::uint32_t error = lastError();
    if (error == static_cast<std::uint32_t>(Error::Cancelled))
        return;
    std::string reason =
        isS3Address(address) ? parseS3Error(answer.body).code : jsonErrorText(answer);
    if (reason.empty())
        reason = "none";
    ErrOut("ERROR: Unable to %s <%s>, error %u, HTTP status %ld, server error %s", doing,
           address.c_str(), error, answer.status, reason.c_str());
    setLastSystemError(error);
}

std::unique_ptr<File> openS3(const S3Address &address, HttpAnswer *answer)
{
    if (address.rawKey.empty()) {
        if (!proveBucket(address, answer))
            return nullptr;
        return std::make_unique<ProvedFolder>();
    }
    S3Object object = findObject(address, answer);
    if (!object.resource)
        return nullptr;
    return std::make_unique<NetworkFile>(std::move(object.resource), object.size, object.etag);
}

std::unique_ptr<NetworkFile> openWeb(const std::string &address, HttpAnswer *answer, bool *isLogged)
{
    auto resource = std::make_unique<WebResource>(address);
    if (!resource->authorize()) {
        *isLogged = true; // with what the authority says
        return nullptr;
    }
    auto file = std::make_unique<NetworkFile>(std::move(resource), -1, "");
    const bool started = file->start();
    *answer = file->answer();
    if (!started)
        file.reset();
    return file;
}

// One request after the other, for what is small or cannot be had in parts.
bool copyStream(NetworkFile &file, TargetFile &target, const CopyProgress &progress)
{
    std::int64_t size = -1;
    if (!file.size(&size) || (size > 0 && !target.reserve(size)))
        return false;
    std::vector<char> buffer(256 * 1024);
    std::int64_t done = 0;
    std::uint32_t read = 0;
    do {
        if (!file.read(buffer.data(), static_cast<std::uint32_t>(buffer.size()), &read) ||
            !target.writeAt(done, buffer.data(), read))
            return false;
        done += read;
        if (progress)
            progress(done, size);
    } while (read == buffer.size());
    return (size < 0 || done == size) || fail(Error::ConnectionLost);
}

bool copyS3(const S3Address &address, TargetFile &target, const CopyProgress &progress,
            HttpAnswer *answer)
{
    S3Object object = findObject(address, answer);
    if (!object.resource)
        return false;
    if (object.size > kLargestSinglePart)
        return target.reserve(object.size) && copyInParts(object, target, progress);
    NetworkFile file(std::move(object.resource), object.size, object.etag);
    return copyStream(file, target, progress);
}

} // namespace

bool isNetworkSource(const std::string &address)
{
    return startsWithNoCase(address, "s3://") || startsWithNoCase(address, "https://") ||
           startsWithNoCase(address, "http://");
}

std::unique_ptr<File> open(const std::string &address)
{
    HttpAnswer answer;
    bool isLogged = false;
    std::unique_ptr<File> file;
    if (!isS3Address(address))
        file = openWeb(address, &answer, &isLogged);
    else if (const auto parts = S3Address::parse(address))
        file = openS3(*parts, &answer);
    else
        setLastError(Error::InvalidName);
    if (!file && !isLogged)
        logFailure("open", address, answer);
    return file;
}

bool isFolder(const std::string &address)
{
    const auto parts = S3Address::parse(address);
    if (!parts)
        return fail(isS3Address(address) ? Error::InvalidName : Error::NotSupported);
    return isS3Folder(*parts);
}

bool walk(const std::string &address, const Entry &entry)
{
    if (const auto parts = S3Address::parse(address))
        return walkS3(*parts, address, entry);
    setLastError(isS3Address(address) ? Error::InvalidName : Error::NotSupported);
    ErrOut("ERROR: Unable to list <%s>, error %u", address.c_str(), lastError());
    return false;
}

bool copy(const std::string &address, const std::string &destination, bool keepExisting,
          const CopyProgress &progress)
{
    if (keepExisting && hqOSFileExists(destination.c_str()))
        return fail(Error::FileExists);
    const auto target = TargetFile::create(destination, system::kUsualRights, keepExisting);
    if (!target)
        return false;
    HttpAnswer answer;
    bool copied = false;
    bool isLogged = false;
    if (!isS3Address(address)) {
        const auto file = openWeb(address, &answer, &isLogged);
        copied = file && copyStream(*file, *target, progress);
    } else if (const auto parts = S3Address::parse(address)) {
        copied = copyS3(*parts, *target, progress, &answer);
    } else {
        setLastError(Error::InvalidName);
    }
    if (!copied && !isLogged)
        logFailure("copy", address, answer);
    return copied && target->commit();
}

} // namespace hq::network
