// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#pragma once

class QSettings;

namespace hq {

// Has a settings file read and written as UTF-8, to be called before its first value is asked for.
// So Qt 5 and Qt 6 read what the other wrote and write the same. Files that Qt 5 wrote without this
// are ASCII with escapes and read as before. The Windows registry is left as it is.
void useUtf8(QSettings &settings);

} // namespace hq
