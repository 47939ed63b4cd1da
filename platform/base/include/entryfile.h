// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <optional>

namespace hq {

// The whole of an entry file of the configuration directory. None when it does not open. One that
// cannot be read, or is larger than 4 MiB, is refused with a line in the error log. Any thread.
std::optional<QByteArray> readEntryFile(const QByteArray &path);

} // namespace hq
