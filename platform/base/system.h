// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Everything that differs between operating systems. Paths are UTF-8; where they are separated by
// "/", a "\" counts as one too. Every false but that of isTaken() sets the thread's last error.
#pragma once

#include "nativefile.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace hq::system {

enum class Kind { Missing, File, Folder, Other };
// What stands behind a path, links followed; Missing sets the last error.
Kind kindOf(const std::string &path);
// The path itself or, for a link, the path that it leads to.
std::string linkTarget(const std::string &path);

// Whether the name is taken, by a link that leads nowhere for instance.
bool isTaken(const std::string &path);

// Replaces an existing `to`.
bool renameOver(const std::string &from, const std::string &to);
bool removeFile(const std::string &path);

// Removes the files in a folder ("" is the current one) that have temporary names, belong to this
// user and are not locked. Where other machines may not see the locks, files that this machine has
// not made since it was started must also have been untouched for an hour when `newFile` was made
// in the same folder. Failures are passed over; it ends when `goOn` returns false. The last error
// stays as it is.
void removeAbandoned(const std::string &folder, const NativeFile &newFile,
                     const std::function<bool()> &goOn);

struct FolderEntry
{
    std::string name;
    bool isFolder;
};
// The entries that are not hidden, in no order; `goOn` false stops with Cancelled.
bool listFolder(const std::string &path, std::vector<FolderEntry> *entries,
                const std::function<bool()> &goOn);
// Makes a folder and its missing parents, all for their owner only, which QDir cannot; on Windows
// as the folder above has it.
bool makeFolders(const std::string &path);

// The user's folders for configuration and for state, ending in a separator; empty when unknown. Qt
// knows none for state before 6.7.
std::string configurationRoot();
std::string stateRoot();
// Takes a file or folder from everybody but its owner (on Windows the system and administrators
// keep it too). True also when nothing is there.
bool takeFromOthers(const std::string &path);

char separator();
std::uint64_t threadId();

} // namespace hq::system
