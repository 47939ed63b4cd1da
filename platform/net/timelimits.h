// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

namespace hq {

// How long the network side waits for what.
struct TimeLimits
{
    using Length = std::chrono::milliseconds;

    Length connect{10'000};   // the name, the connection, TLS
    Length firstByte{35'000}; // of a response, from its request on
    Length stall{30'000};     // between two bytes of a body
    Length refusal{5'000};    // for the document that explains a refusal
    Length person{45'000};    // without a byte of what a person waits for, over all attempts
    Length copy{60'000};      // without a byte of a copy, over all attempts
    Length page{4};           // for a page of a listing, before others are asked for beside it
};

// Those of the process. Tests shorten them while nothing is under way.
inline TimeLimits &timeLimits()
{
    static TimeLimits limits;
    return limits;
}

} // namespace hq
