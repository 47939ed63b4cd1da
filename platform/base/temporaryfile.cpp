// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/temporaryfile.h"

#include "base/lasterror.h"
#include "base/system.h"

#include <QThreadPool>

#include <algorithm>
#include <random>
#include <string_view>

namespace hq {

namespace {

// File systems end names at 255 bytes or characters; the marks around the name need 13.
constexpr std::size_t kLongestName = 200;

std::string randomMark()
{
    static constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
    thread_local std::mt19937_64 generator{std::random_device{}()};
    std::uniform_int_distribution<std::size_t> letter(0, kLetters.size() - 1);
    std::string mark(6, ' ');
    std::generate(mark.begin(), mark.end(), [&] { return kLetters[letter(generator)]; });
    return mark;
}

std::size_t nameStart(const std::string &path)
{
    const auto last = std::find_if(path.rbegin(), path.rend(), system::isSeparator);
    return static_cast<std::size_t>(path.rend() - last);
}

} // namespace

std::string writableTarget(const std::string &destination)
{
    std::string target = system::linkTarget(destination);
    switch (system::kindOf(target)) {
    case system::Kind::Folder:
        setLastError(Error::AccessDenied);
        return {};
    case system::Kind::Other:
        setLastError(Error::NotSupported);
        return {};
    case system::Kind::File:
        return target;
    case system::Kind::Missing:
        break;
    }
    if (nameStart(target) == target.size()) {
        setLastError(Error::InvalidName);
        return {};
    }
    return target;
}

std::string makeTemporary(const std::string &target,
                          const std::function<bool(const std::string &name)> &create)
{
    const std::size_t start = nameStart(target);
    std::string name = target.substr(start);
    if (name.size() > kLongestName) {
        std::size_t end = kLongestName;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xc0) == 0x80)
            --end;
        name.resize(end);
    }
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string path = target.substr(0, start) + '.' + name + '.' + randomMark() + ".part";
        if (create(path))
            return path;
        if (lastError() != static_cast<std::uint32_t>(Error::FileExists)) {
            discard(path);
            return {};
        }
    }
    return {};
}

void discard(const std::string &name)
{
    const LastErrorKeeper keeper;
    // Freeing gigabytes takes time. The content lives on in an open file, which somebody else
    // closes; where open files cannot be removed, it is closed first.
    system::NativeFile content = system::NativeFile::openForReading(name);
    const bool isRemoved = system::removeFile(name);
    if (isRemoved && content.isOpen()) {
        QThreadPool::globalInstance()->start(
            [handle = content.release()] { const system::NativeFile closedHere(handle); });
    } else if (!isRemoved) {
        content = {};
        system::removeFile(name);
    }
}

} // namespace hq
