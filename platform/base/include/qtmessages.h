// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

// From now on Qt's own messages go to the error log instead of the terminal.
void sendQtMessagesToErrorLog();
