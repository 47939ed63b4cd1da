// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "nativefile.h"

#include <functional>
#include <string>
#include <string_view>

namespace hq {

// Where a file written as `destination` ends up: the path itself or what a link leads to. Empty,
// with the last error, when a folder or a device stands there, when the path names no file or too
// long a one, and with `keepExisting` when the name is taken in any way.
std::string writableTarget(const std::string &destination, bool keepExisting);

// The path up to and with its last separator; empty for a name alone.
std::string folderOf(const std::string &path);

// Calls `create` with new names in the folder of `target` until it has made a file, and returns
// that name. `create` fails with FileExists when the name is taken, and is called with another one
// then; any other failure gives the empty text.
std::string makeTemporary(const std::string &target,
                          const std::function<bool(const std::string &name)> &create);

// Makes a locked file with a temporary name for `target` and opens it as `*file`; the name, empty
// on failure.
std::string makeTemporaryFile(const std::string &target, system::Rights rights,
                              system::NativeFile *file);

// Puts a new empty file that only its owner can read in the place of an existing one, links
// followed. It may be open as `*file` then. False, with the last error, when the folder forbids it.
bool replaceByPrivate(const std::string &path, system::NativeFile *file);

// Whether makeTemporary() could have made this name, given without its folder.
bool isTemporaryName(std::string_view name);
// The same, and on this machine since it was started.
bool isOfThisBoot(std::string_view name);

} // namespace hq
