// SPDX-FileCopyrightText: The Pellory developers
// SPDX-License-Identifier: Apache-2.0
#include "redaction.h"

#include "credentialnames.h"
#include "text.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace hq {

namespace {

constexpr std::string_view kQuotesAndBlanks = "\\\"' \t";

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

// Where a secret stands in what follows a name.
struct Secret
{
    std::size_t start;
    std::size_t end; // npos for that of the text
};

std::size_t skip(std::string_view characters, std::string_view text, std::size_t start)
{
    return std::min(text.find_first_not_of(characters, start), text.size());
}

// Of an address behind its scheme.
std::optional<Secret> secretOfAddress(std::string_view rest, bool isS3)
{
    constexpr std::size_t kBegin = 3; // behind "://"
    const std::size_t key =
        isS3 ? rest.find_first_of(":/\\@ <>\"'", kBegin) : std::string_view::npos;
    const bool hasSecret = key != std::string_view::npos && rest[key] == ':';
    const std::size_t start = hasSecret ? key + 1 : kBegin;
    if (startsWith(rest.substr(start), kStars))
        return Secret{start, start + kStars.size()}; // done before
    // A secret may hold anything, also what looks like the next address.
    if (hasSecret)
        return Secret{start, rest.rfind('@')};
    const std::string_view address = rest.substr(0, rest.find("://", kBegin)).substr(kBegin);
    const std::size_t end = userInformationEnd(address);
    return end == std::string_view::npos ? std::nullopt
                                         : std::optional(Secret{kBegin, kBegin + end});
}

// Of "Bearer" and "Basic".
std::optional<Secret> secretOfScheme(std::string_view rest)
{
    const std::size_t start = skip(" \t", rest, 0);
    const std::size_t end = rest.find_first_of(" \t\r\n\"<>", start);
    return start == end ? std::nullopt : std::optional(Secret{start, end});
}

// Where the opening quote is escaped itself, the next one ends the value, escaped or not.
std::size_t endOfQuoted(std::string_view rest, std::size_t quote, std::size_t start)
{
    const bool isEscaped = rest[quote - 1] == '\\';
    std::size_t end = start;
    while (end < rest.size() && rest[end] != rest[quote])
        end += rest[end] == '\\' && !isEscaped ? 2 : 1;
    return end;
}

// What ends the name (quotes, an element's ">"), a separator, then the value itself.
std::optional<Secret> secretOfValue(std::string_view rest, NameKind kind, bool isElement)
{
    const std::size_t sign = skip(kQuotesAndBlanks, rest, 0);
    const std::string_view behind = rest.substr(sign);
    if (isElement && startsWith(behind, ">"))
        return Secret{sign + 1, rest.find('<', sign + 1)};
    const bool isEncoded = startsWithNoCase(behind, "%3d");
    const bool isColon = startsWith(behind, ":") && kind != NameKind::InQueries;
    if (!isEncoded && !isColon && !startsWith(behind, "="))
        return std::nullopt;
    const std::size_t opening = sign + (isEncoded ? 3 : 1);
    const std::size_t start = skip(kQuotesAndBlanks, rest, opening);
    const std::size_t quote = rest.substr(0, start).find_last_of("\"'");
    if (quote != std::string_view::npos && quote >= opening)
        return Secret{start, endOfQuoted(rest, quote, start)};
    const bool isLine = kind == NameKind::WholeLine;
    return Secret{start, rest.find_first_of(isLine ? "\r\n" : " \t\r\n&<>\"", start)};
}

std::optional<Secret> secretBehind(std::string_view name, std::string_view rest, bool isElement)
{
    if (name.empty())
        return std::nullopt;
    if (startsWith(rest, "://"))
        return secretOfAddress(rest, isS3Scheme(name));
    const bool isScheme = equalsNoCase(name, "bearer") || equalsNoCase(name, "basic");
    if (isScheme && rest.find_first_not_of(" \t") != 0)
        return secretOfScheme(rest);
    const NameKind kind = nameKind(name);
    return kind == NameKind::Harmless ? std::nullopt : secretOfValue(rest, kind, isElement);
}

} // namespace

bool hasPassword(std::string_view address)
{
    const std::string_view authority = address.substr(0, address.find_first_of("/\\?#"));
    const std::size_t colon = authority.rfind(':');
    if (colon == std::string_view::npos || (authority[0] == '[' && authority.back() == ']'))
        return false;
    return colon + 1 == authority.size() ||
           authority.find_first_not_of("0123456789", colon + 1) != std::string_view::npos;
}

std::size_t userInformationEnd(std::string_view address)
{
    const std::size_t at = address.substr(0, address.find_first_of("/\\?#")).rfind('@');
    if (at != std::string_view::npos)
        return at;
    // What stands behind the ":" of a host is a number; a password may hold a "/".
    return hasPassword(address) ? address.rfind('@') : std::string_view::npos;
}

std::string redact(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const auto nameEnd = std::find_if_not(text.begin(), text.end(), isNameCharacter);
        const auto length = static_cast<std::size_t>(std::distance(text.begin(), nameEnd));
        const bool isElement = !result.empty() && result.back() == '<';
        std::size_t kept = std::max<std::size_t>(length, 1);
        std::size_t done = kept;
        std::string_view stars;
        const std::string_view rest = text.substr(length);
        if (const auto secret = secretBehind(text.substr(0, length), rest, isElement)) {
            kept = length + secret->start;
            done = length + std::min(secret->end, rest.size());
            stars = kStars;
        }
        result.append(text.substr(0, kept)).append(stars);
        text.remove_prefix(done);
    }
    return result;
}

} // namespace hq
