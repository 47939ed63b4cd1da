// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace hq {

// Where a file written as `destination` ends up: the path itself or what a link leads to. Empty,
// with the last error, when a folder or a device stands there or the path names no file.
std::string writableTarget(const std::string &destination);

// Lets `create` make a file under a name of its own in the folder of `target` and returns that
// name. `create` fails with FileExists when the name is taken, which leads to another one; after
// any other failure the file is removed and the result empty.
std::string makeTemporary(const std::string &target,
                          const std::function<bool(const std::string &name)> &create);

// Removes a file that did not get into place, at once however large it is; the last error stays.
void discard(const std::string &name);

} // namespace hq
