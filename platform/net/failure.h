// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a failed response means.
#pragma once

#include "base/lasterror.h"
#include "net/http.h"

namespace hq {

// Servers refuse what was signed by a clock that is five or fifteen minutes off.
constexpr std::int64_t kToleratedSkewSeconds = 240;

// Whether the clock of this computer is what a server refuses, and by how much it is off; empty
// when it is not. `clockOffset` are the seconds that the request took into account.
std::string clockAdvice(const HttpResponse &response, std::int64_t clockOffset = 0);

// Sets the thread's last error, and its details from the response that ended a call; false.
bool failWith(const HttpResponse &response);
// The same with another code, which the response alone does not tell.
bool failWith(const HttpResponse &response, Error error);

} // namespace hq
