// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "credentialnames.h"

#include "text.h"

#include <algorithm>
#include <iterator>
#include <string>

namespace hq {

namespace {

// All in small letters, without "-" and "_". Those of the first two lists also end longer names,
// such as "X-Amz-Signature".
constexpr std::string_view kWholeLine[] = {"authorization", "cookie", "secretkey",
                                           "secretaccesskey"};
constexpr std::string_view kCredentials[] = {
    "accessid", "accesskeyid", "assertion", "auth",      "credential", "credentials", "hdnea",
    "hdntl",    "hdnts",       "hmac",      "jwt",       "key",        "passphrase",  "passwd",
    "password", "pwd",         "secret",    "sessionid", "sig",        "signature",   "token"};
constexpr std::string_view kInQueries[] = {"code",    "key", "pass", "policy", "pw",
                                           "session", "sid", "sign", "ticket"};

template <std::size_t size>
bool endsIn(const std::string &name, const std::string_view (&endings)[size])
{
    return std::any_of(std::begin(endings), std::end(endings), [&name](std::string_view ending) {
        return name.size() >= ending.size() &&
               name.compare(name.size() - ending.size(), ending.size(), ending) == 0;
    });
}

} // namespace

NameKind nameKind(std::string_view name)
{
    // Of a long name its end.
    constexpr std::size_t kMaxLength = 64;
    if (name.size() > kMaxLength)
        name.remove_prefix(name.size() - kMaxLength);
    std::string plain;
    for (const char c : name) {
        if (c != '_' && c != '-')
            plain += lowerCase(c);
    }
    if (endsIn(plain, kWholeLine))
        return NameKind::WholeLine;
    if (std::find(std::begin(kInQueries), std::end(kInQueries), plain) != std::end(kInQueries))
        return NameKind::InQueries;
    return endsIn(plain, kCredentials) ? NameKind::Credential : NameKind::Harmless;
}

bool namesCredential(std::string_view text)
{
    for (std::size_t end = 0; (end = text.find_first_of("=%", end)) != std::string_view::npos;
         ++end) {
        if (text[end] == '%' && !startsWithNoCase(text.substr(end), "%3d"))
            continue;
        std::size_t start = end;
        while (start > 0 && isNameCharacter(text[start - 1]))
            --start;
        if (nameKind(text.substr(start, end - start)) != NameKind::Harmless)
            return true;
    }
    return false;
}

bool isNameCharacter(char c)
{
    return isLetterOrDigit(c) || c == '_' || c == '-';
}

} // namespace hq
