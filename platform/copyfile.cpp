// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "copyfile.h"

#include "base/localfile.h"
#include "base/text.h"
#include "failures.h"
#include "guarded.h"
#include "net/network.h"

#include <chrono>

namespace {

// Passes on at most one report in 50 ms, and in any case the last one.
class Throttle
{
public:
    explicit Throttle(const hq::CopyProgressCallback &progress) : m_progress(progress) {}

    void report(qint64 done, qint64 total)
    {
        m_done = done;
        m_total = total;
        const auto now = Clock::now();
        m_isDelivered = m_progress && now - m_last >= std::chrono::milliseconds(50);
        if (m_isDelivered) {
            m_last = now;
            m_progress(done, total);
        }
    }

    void finish()
    {
        if (m_progress && !m_isDelivered)
            m_progress(m_done, m_total);
    }

private:
    using Clock = std::chrono::steady_clock;
    const hq::CopyProgressCallback &m_progress;
    Clock::time_point m_last = Clock::now();
    qint64 m_done = 0;
    qint64 m_total = 0;
    bool m_isDelivered = false;
};

} // namespace

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
        Throttle throttle(progress);
        const auto report = [&throttle](qint64 done, qint64 total) {
            throttle.report(done, total);
        };
        const bool keep = keepExisting != 0;
        if (!(isNetworkSource(source) ? network::copy(source, destination, keep, report)
                                      : local::copy(source, destination, keep, report)))
            return false;
        throttle.finish();
        return true;
    });
    if (!copied)
        logFailedCopy(source ? source : "", destination ? destination : "");
    return copied;
}
