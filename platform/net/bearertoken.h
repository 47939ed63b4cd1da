// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// OAuth2 bearer tokens (client-credentials grant) for the repositories that are configured.
#pragma once

#include "net/retrystate.h"

#include <string>

namespace hq {

// Puts the token for `host` (with its port, as written in the address) into `*token`, fetching it
// when there is none or the old one is about to run out. A host without an entry file or without an
// OAuth server has none: true and an empty text. False with the last error, whose details name the
// server, when it gives none. One token per host serves all threads. A call that comes while
// another thread fetches it waits for it; when patience ends first that is TimedOut, when the
// thread is stopped Cancelled.
bool bearerToken(const std::string &host, std::string *token, const Patience &patience);

// Forgets a token that `host` refused, unless a newer one has replaced it. Waits while another
// thread fetches one; when patience ends first nothing is forgotten.
void refuseBearerToken(const std::string &host, const std::string &token, const Patience &patience);

} // namespace hq
