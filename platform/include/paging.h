// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "hqutil.h"

namespace hq {

// Whether the response that an open https source is read from names a next page, by a "Link" header
// or by a paging key as TAMS has it. False for other sources and invalid handles. Any thread.
bool hasNextPage(HQHANDLE file);

} // namespace hq
