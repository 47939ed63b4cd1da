// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QThreadPool>

// Lets the pool start another thread in place of the calling one, as long as it lives. Work that
// mostly waits (a copy, a look at a folder that may be gone) must not hold up listings.
class ReleasedPoolThread
{
public:
    ReleasedPoolThread() { QThreadPool::globalInstance()->releaseThread(); }
    ~ReleasedPoolThread() { QThreadPool::globalInstance()->reserveThread(); }
    ReleasedPoolThread(const ReleasedPoolThread &) = delete;
    ReleasedPoolThread &operator=(const ReleasedPoolThread &) = delete;
};
