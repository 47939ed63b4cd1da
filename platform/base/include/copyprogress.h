// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

#include <functional>

namespace hq {

// Bytes there so far and bytes in all, -1 while unknown. Called on the copying thread, at most
// every 50 ms and once at the end.
using CopyProgressCallback = std::function<void(qint64 done, qint64 total)>;

} // namespace hq
