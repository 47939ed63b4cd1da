// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// What a failed answer means.
#pragma once

#include "base/lasterror.h"
#include "net/http.h"

#include <string>

namespace hq {

// Code of a failed answer.
Error errorOf(const HttpAnswer &answer);

// What the answer says about itself: "Code (message)" of an S3 error, a JSON error, or a line of
// plain text; one line, at most 200 characters, empty when it says nothing.
std::string serverWord(const HttpAnswer &answer);

// Sets the thread's last error, and its details from the answer that ended a call; false.
bool failWith(const HttpAnswer &answer);
// The same with another code, which the response alone does not tell.
bool failWith(const HttpAnswer &answer, Error error);

} // namespace hq
