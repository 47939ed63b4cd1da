// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// Calls that only the operating system can serve.
#pragma once

namespace hq {

// Declares that the process draws at the display's own resolution; has an effect on Windows only.
void makeProcessDpiAware();

} // namespace hq
