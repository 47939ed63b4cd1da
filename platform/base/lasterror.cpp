// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "lasterror.h"

#include <algorithm>
#include <iterator>
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

std::string errorText(std::uint32_t code)
{
    static constexpr std::pair<std::uint32_t, const char *> kWords[] = {
        {2, "missing"},
        {3, "path missing"},
        {4, "too many open files"},
        {5, "denied"},
        {6, "invalid handle"},
        {8, "out of memory"},
        {32, "in use"},
        {33, "in use"},
        {50, "not supported"},
        {80, "exists"},
        {87, "bad argument"},
        {112, "disk full"},
        {123, "malformed or too long name"},
        {1006, "source changed"},
        {1117, "disk error"},
        {1223, "cancelled"},
        {1392, "configuration store unreadable"},
        {12002, "timed out"},
        {12007, "name not resolved"},
        {12029, "cannot connect"},
        {12030, "connection lost"},
        {12152, "answer not understood"},
        {12157, "TLS failed"},
        {12175, "certificate not trusted"},
    };
    const auto found = std::find_if(std::begin(kWords), std::end(kWords),
                                    [code](const auto &word) { return word.first == code; });
    std::string text = "error " + std::to_string(code);
    return found == std::end(kWords) ? text : text + " (" + found->second + ")";
}

void setFailureDetails(FailureDetails details)
{
    t_details = std::move(details);
}

const FailureDetails &failureDetails()
{
    return t_details;
}

bool blameTarget()
{
    t_details.isOfTarget = true;
    return false;
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
