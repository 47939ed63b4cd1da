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

bool isLastError(Error error)
{
    return t_lastError == static_cast<std::uint32_t>(error);
}

std::string errorText(std::uint32_t code)
{
    static constexpr std::pair<Error, const char *> kWords[] = {
        {Error::FileNotFound, "missing"},
        {Error::PathNotFound, "path missing"},
        {Error::TooManyOpenFiles, "too many open files"},
        {Error::AccessDenied, "denied"},
        {Error::InvalidHandle, "invalid handle"},
        {Error::OutOfMemory, "out of memory"},
        {Error::SharingViolation, "in use"},
        {Error::LockViolation, "in use"},
        {Error::NotSupported, "not supported"},
        {Error::FileExists, "exists"},
        {Error::InvalidParameter, "bad argument"},
        {Error::DiskFull, "disk full"},
        {Error::InvalidName, "malformed or too long name"},
        {Error::SourceChanged, "source changed"},
        {Error::DiskError, "disk error"},
        {Error::Cancelled, "cancelled"},
        {Error::FileCorrupt, "configuration store unreadable"},
        {Error::TimedOut, "timed out"},
        {Error::NameNotResolved, "name not resolved"},
        {Error::CannotConnect, "cannot connect"},
        {Error::ConnectionLost, "connection lost"},
        {Error::InvalidServerResponse, "answer not understood"},
        {Error::SecureChannelError, "TLS failed"},
        {Error::SecureFailure, "certificate not trusted"},
    };
    const auto found = std::find_if(std::begin(kWords), std::end(kWords),
                                    [code](const auto &word) { return word.first == Error(code); });
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
