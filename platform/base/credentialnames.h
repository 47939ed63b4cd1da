// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0

// The one list of what credentials are called: for the log, for what is shown, for the mode of
// files.
#pragma once

#include <string_view>

namespace hq {

// What a name says about the value behind it.
enum class NameKind {
    Harmless,
    InQueries, // a credential behind "=" alone: the word is also used for other things
    Credential,
    WholeLine, // a credential that may hold blanks
};

// Letter case, "-" and "_" make no difference.
NameKind nameKind(std::string_view name);

// Whether there is a "name=" or "name%3D" of a credential in `text`.
bool namesCredential(std::string_view text);

// What names are made of.
bool isNameCharacter(char c);

} // namespace hq
