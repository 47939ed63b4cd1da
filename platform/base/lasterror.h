// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "errorcode.h"

#include <cstdint>
#include <string>

namespace hq {

// Sets this thread's code and forgets the details of the failure before.
void setLastError(Error error);
void setLastSystemError(std::uint32_t code);
std::uint32_t lastError();
bool isLastError(Error error);

// The code as lines of the log give it: "error 5 (denied)".
std::string errorText(std::uint32_t code);

// What a call knows of its failure beside the code.
struct FailureDetails
{
    long httpStatus = 0;     // of the response that ended it; 0 when there was none
    std::string serverWord;  // what the server says about it, as it came
    std::string advice;      // what follows for the person; empty when nothing does
    bool isOfTarget = false; // a copy's destination failed, not its source
};

// Of this thread's last failure. Set behind its code.
void setFailureDetails(FailureDetails details);
const FailureDetails &failureDetails();
// Says that the last failure is that of a copy's destination; false.
bool blameTarget();

// Brings this thread's code and details back on destruction.
class LastErrorKeeper
{
public:
    LastErrorKeeper();
    ~LastErrorKeeper();
    LastErrorKeeper(const LastErrorKeeper &) = delete;
    LastErrorKeeper &operator=(const LastErrorKeeper &) = delete;

private:
    std::uint32_t m_code;
    FailureDetails m_details;
};

// Sets this thread's code and returns false, so that a failing path is one statement.
bool fail(Error error);

} // namespace hq
