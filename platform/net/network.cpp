// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "net/network.h"

#include "base/targetfile.h"
#include "base/text.h"
#include "net/networkfile.h"
#include "net/rangedcopy.h"
#include "net/s3/client.h"
#include "net/s3/walk.h"
#include "net/webresource.h"

#include <vector>

namespace hq::network {

namespace {

// Stands for a bucket or account that was proved; there is nothing in it to read.
class BucketHandle : public File
{
};

std::unique_ptr<File> openS3(const S3Address &address)
{
    HttpResponse response;
    if (address.rawKey.empty()) {
        if (!headBucket(address, &response))
            return nullptr;
        return std::make_unique<BucketHandle>();
    }
    S3Object object = findObject(address, &response);
    if (!object.resource)
        return nullptr;
    return std::make_unique<NetworkFile>(std::move(object.resource), object.size, object.validator,
                                         Patience::ofPerson());
}

std::unique_ptr<NetworkFile> openWeb(const std::string &address, const Patience &patience)
{
    auto resource = std::make_unique<WebResource>(address);
    if (!resource->authorize(patience))
        return nullptr;
    auto file = std::make_unique<NetworkFile>(std::move(resource), -1, Validator(), patience);
    if (!file->start())
        file.reset();
    return file;
}

bool copyOnce(NetworkFile &file, TargetFile &target, const CopyProgressCallback &progress)
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
    return true;
}

// One request after the other, for what is small or cannot be had in parts.
bool copyStream(NetworkFile &file, TargetFile &target, const CopyProgressCallback &progress)
{
    while (!copyOnce(file, target, progress)) {
        if (!file.beginAgain() || !target.clear())
            return false;
    }
    return true;
}

bool copyS3(const S3Address &address, TargetFile &target, const CopyProgressCallback &progress)
{
    HttpResponse response;
    S3Object object = findObject(address, &response, Patience::ofCopy());
    if (!object.resource)
        return false;
    if (object.size > kMaxSinglePart && object.validator.exists())
        return target.reserve(object.size) && copyInParts(object, target, progress);
    NetworkFile file(std::move(object.resource), object.size, object.validator, Patience::ofCopy());
    return copyStream(file, target, progress);
}

} // namespace

std::unique_ptr<File> open(const std::string &address)
{
    if (!isS3Address(address))
        return openWeb(address, Patience::ofPerson());
    if (const auto parts = S3Address::parse(address))
        return openS3(*parts);
    setLastError(Error::InvalidName);
    return nullptr;
}

bool isFolder(const std::string &address)
{
    const auto parts = S3Address::parse(address);
    if (!parts)
        return fail(isS3Address(address) ? Error::InvalidName : Error::NotSupported);
    return isS3Folder(*parts);
}

bool walk(const std::string &address, const WalkCallback &entry)
{
    if (const auto parts = S3Address::parse(address))
        return walkS3(*parts, address, entry);
    return fail(isS3Address(address) ? Error::InvalidName : Error::NotSupported);
}

bool copy(const std::string &address, const std::string &destination, bool keepExisting,
          const CopyProgressCallback &progress)
{
    const auto target = TargetFile::create(destination, system::kUsualRights, keepExisting);
    if (!target)
        return false;
    bool copied = false;
    if (!isS3Address(address)) {
        const auto file = openWeb(address, Patience::ofCopy());
        copied = file && copyStream(*file, *target, progress);
    } else if (const auto parts = S3Address::parse(address)) {
        copied = copyS3(*parts, *target, progress);
    } else {
        setLastError(Error::InvalidName);
    }
    return copied && target->commit();
}

} // namespace hq::network
