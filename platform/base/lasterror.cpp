// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "base/lasterror.h"

#include <utility>

namespace hq {

namespace {
thread_local std::uint32_t t_lastError = 0;
thread_local FailureDetails t_details;
} // namespace

void setLastError(Error error)
{
    setLastSystemError(static_cast<std::uint32_t>(error));
}

void setLastSystemError(std::uint32_t code)
{
    t_lastError = code;
    t_details = {};
}

std::uint32_t lastError()
{
    return t_lastError;
}

void setFailureDetails(FailureDetails details)
{
    t_details = std::move(details);
}

const FailureDetails &failureDetails()
{
    return t_details;
}

// Moved, so that nothing has to be allocated.
LastErrorKeeper::LastErrorKeeper() : m_code(t_lastError), m_details(std::move(t_details)) {}

LastErrorKeeper::~LastErrorKeeper()
{
    t_lastError = m_code;
    t_details = std::move(m_details);
}

bool fail(Error error)
{
    setLastError(error);
    return false;
}

} // namespace hq
