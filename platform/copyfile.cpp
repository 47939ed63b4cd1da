// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "copyfile.h"

#include "base/localfile.h"
#include "base/text.h"
#include "failures.h"
#include "guarded.h"
#include "net/network.h"

#include <chrono>
#include <utility>

int hq::copyFile(const char *source, const char *destination, int keepExisting,
                 const CopyProgressCallback &progress)
{
    const int copied = guardedBool([&] {
        if (!source || !destination)
            return fail(Error::InvalidParameter);
        if (isNetworkSource(destination)) {
            setLastError(Error::NotSupported);
            return blameTarget();
        }
        // Passes on at most one report in 50 ms, and in any case the last one.
        std::pair<qint64, qint64> latest;
        bool isTold = true;
        auto toldAt = std::chrono::steady_clock::now();
        const auto report = [&](qint64 done, qint64 total) {
            latest = {done, total};
            const auto now = std::chrono::steady_clock::now();
            isTold = !progress || now - toldAt >= std::chrono::milliseconds(50);
            if (!progress || !isTold)
                return;
            toldAt = now;
            progress(done, total);
        };
        const bool keep = keepExisting != 0;
        if (!(isNetworkSource(source) ? network::copy(source, destination, keep, report)
                                      : local::copy(source, destination, keep, report)))
            return false;
        if (!isTold)
            progress(latest.first, latest.second);
        return true;
    });
    if (!copied)
        logFailedCopy(source ? source : "", destination ? destination : "");
    return copied;
}
