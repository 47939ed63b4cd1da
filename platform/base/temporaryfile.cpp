// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "temporaryfile.h"

#include "lasterror.h"
#include "system.h"
#include "text.h"

#include <QByteArray>
#include <QRandomGenerator>
#include <QSysInfo>

#include <string_view>

namespace hq {

namespace {

// A temporary name is ".", the name, ".pellory-", a mark, ".part". The mark is random but for its
// end, which stands for this run of the machine. File systems end names at 255 bytes or characters.
constexpr std::size_t kMaxName = 200;
constexpr std::size_t kMarkSize = 6;
constexpr std::size_t kBootMarkSize = 3;
constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::string_view kOurs = ".pellory-"; // other programs have parts, too
constexpr std::string_view kEnd = ".part";

// Empty when the system does not tell its runs apart.
const std::string &bootMark()
{
    // Never destroyed: threads may still be at work when the process ends.
    static const auto *const mark = new std::string([] {
        const std::string boot = QSysInfo::bootUniqueId().toStdString();
        std::size_t rest = std::hash<std::string>()(boot);
        std::string letters;
        for (; !boot.empty() && letters.size() < kBootMarkSize; rest /= kLetters.size())
            letters += kLetters[rest % kLetters.size()];
        return letters;
    }());
    return *mark;
}

std::string newMark()
{
    std::string mark(kMarkSize - bootMark().size(), ' ');
    for (char &letter : mark)
        letter = kLetters[QRandomGenerator::global()->bounded(quint32(kLetters.size()))];
    return mark + bootMark();
}

std::size_t nameStart(const std::string &path)
{
    return path.find_last_of("/\\") + 1;
}

} // namespace

std::string folderOf(const std::string &path)
{
    return path.substr(0, nameStart(path));
}

bool isTemporaryName(std::string_view name)
{
    constexpr std::size_t kMarks = 1 + kOurs.size() + kMarkSize + kEnd.size();
    if (name.size() <= kMarks || name.size() > kMarks + kMaxName || name.front() != '.' ||
        name.substr(name.size() - kEnd.size()) != kEnd)
        return false;
    name.remove_suffix(kEnd.size());
    const std::string_view mark = name.substr(name.size() - kMarkSize);
    name.remove_suffix(kMarkSize);
    return name.substr(name.size() - kOurs.size()) == kOurs &&
           mark.find_first_not_of(kLetters) == std::string_view::npos;
}

bool isOfThisBoot(std::string_view name)
{
    const std::string end = bootMark() + std::string(kEnd);
    return isTemporaryName(name) && !bootMark().empty() &&
           name.substr(name.size() - end.size()) == end;
}

std::string writableTarget(const std::string &destination, bool keepExisting)
{
    std::string target = system::linkTarget(destination);
    if (keepExisting && system::isTaken(target)) {
        setLastError(Error::FileExists);
        return {};
    }
    const system::Kind kind = system::kindOf(target);
    if (kind == system::Kind::File)
        return target;
    if (kind == system::Kind::Folder)
        setLastError(Error::AccessDenied);
    else if (kind == system::Kind::Other)
        setLastError(Error::NotSupported);
    else if (nameStart(target) == target.size())
        setLastError(Error::InvalidName);
    // Whatever else keeps the name from being there, its length for instance, shows now and not
    // when the work is done.
    return isLastError(Error::FileNotFound) ? target : std::string();
}

std::string makeTemporary(const std::string &target,
                          const std::function<bool(const std::string &name)> &create)
{
    const std::size_t start = nameStart(target);
    const std::string_view name = cutAt(kMaxName, std::string_view(target).substr(start));
    for (int attempt = 0; attempt < 100; ++attempt) {
        std::string path = target.substr(0, start) + '.';
        path.append(name).append(kOurs).append(newMark()).append(kEnd);
        if (create(path))
            return path;
        if (!isLastError(Error::FileExists))
            break;
    }
    return {};
}

std::string makeTemporaryFile(const std::string &target, system::Rights rights,
                              system::NativeFile *file)
{
    return makeTemporary(target, [&](const std::string &name) {
        *file = system::NativeFile::createLocked(name, rights);
        return file->isOpen();
    });
}

bool replaceByPrivate(const std::string &path, system::NativeFile *file)
{
    const std::string target = system::linkTarget(path);
    const std::string name = makeTemporaryFile(target, system::kOwnerOnly, file);
    if (name.empty() || file->rename(name, target, false))
        return !name.empty();
    const LastErrorKeeper keeper;
    if (file->isOpen())
        file->remove(name);
    *file = {};
    return false;
}

} // namespace hq
