// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a failed answer means.
#pragma once

#include "base/lasterror.h"
#include "net/http.h"

namespace hq {

// Sets the thread's last error, and its details from the answer that ended a call; false.
bool failWith(const HttpAnswer &answer);
// The same with another code, which the response alone does not tell.
bool failWith(const HttpAnswer &answer, Error error);

} // namespace hq
