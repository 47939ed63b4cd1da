// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace hq {

// The codes of hqOSGetLastError, in the numbers that Windows gives them.
enum class Error : std::uint32_t {
    None = 0,
    FileNotFound = 2,
    PathNotFound = 3,
    TooManyOpenFiles = 4,
    AccessDenied = 5,
    InvalidHandle = 6,
    OutOfMemory = 8,
    GeneralFailure = 31,
    SharingViolation = 32,
    LockViolation = 33,
    NotSupported = 50,
    FileExists = 80,
    InvalidParameter = 87,
    DiskFull = 112,
    InvalidName = 123,
    SourceChanged = 1006,
    DiskError = 1117,
    Cancelled = 1223,
    FileCorrupt = 1392,
    TimedOut = 12002,
    NameNotResolved = 12007,
    CannotConnect = 12029,
    ConnectionLost = 12030,
    InvalidServerResponse = 12152,
    SecureChannelError = 12157,
    SecureFailure = 12175,
};

} // namespace hq
